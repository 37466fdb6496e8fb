#include "reference/store/service_time.h"

#include <cstdio>
#include <ctime>

namespace drive::reference {

std::string formatServiceTime(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  const auto millis = duration_cast<milliseconds>(time.time_since_epoch()).count();
  const auto seconds =
      static_cast<std::time_t>(millis >= 0 ? millis / 1000 : (millis - 999) / 1000);
  const auto fraction = static_cast<int>(millis - static_cast<long long>(seconds) * 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                fraction);
  return text;
}

}  // namespace drive::reference
