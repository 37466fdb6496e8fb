#include "platform/iso8601_date_formatter.h"

#include <gtest/gtest.h>

namespace fp {
namespace {

Date at(double seconds) {
  return Date(std::chrono::duration<double>(seconds));
}

std::optional<double> secondsOf(std::string_view text, bool fractional) {
  const auto date = ISO8601DateFormatter::parse(text, fractional);
  if (!date) return std::nullopt;
  return date->time_since_epoch().count();
}

TEST(ISO8601DateFormatter, ZonesAndFractionsGiveTheInstant) {
  // 2026-11-16T20:17:20Z
  constexpr double instant = 1794860240;
  EXPECT_EQ(secondsOf("2026-11-16T20:17:20Z", false), instant);
  EXPECT_EQ(secondsOf("2026-11-16T21:47:20+01:30", false), instant);
  EXPECT_EQ(secondsOf("2026-11-16T15:17:20-05:00", false), instant);
  // A zone carries the date across midnight and the year.
  EXPECT_EQ(secondsOf("2027-01-01T00:30:00+01:00", false),
            secondsOf("2026-12-31T23:30:00Z", false));
  // Fractions count to the millisecond, padded on the right and cut past three digits.
  EXPECT_DOUBLE_EQ(*secondsOf("2026-11-16T20:17:20.5Z", true), instant + 0.5);
  EXPECT_DOUBLE_EQ(*secondsOf("2026-11-16T20:17:20.05Z", true), instant + 0.05);
  EXPECT_DOUBLE_EQ(*secondsOf("2026-11-16T20:17:20.1239Z", true), instant + 0.123);
  // Before 1970 the fraction still counts forward from the whole second.
  EXPECT_DOUBLE_EQ(*secondsOf("1969-12-31T23:59:59.250Z", true), -0.75);
  EXPECT_EQ(secondsOf("2024-02-29T00:00:00Z", false), 1709164800);
}

TEST(ISO8601DateFormatter, AnythingElseIsRefused) {
  for (const auto* text :
       {"2026-11-16T20:17:20", "2026-11-16 20:17:20Z", "2026-11-16T20:17:20+0100",
        "2026-11-16T20:17:20.123Z", "2026-11-16T20:17:20z", "2026-11-16T20:17:20Z ",
        "2026-11-16T24:00:00Z", "2026-11-16T20:60:00Z", "2026-11-16T20:17:60Z",
        "2023-02-29T00:00:00Z", "2026-13-01T00:00:00Z", "2026-00-10T00:00:00Z",
        "2026-11-16T20:17:20+24:00", "26-11-16T20:17:20Z", "2026-11-16T20:17:2Z", ""}) {
    EXPECT_EQ(secondsOf(text, false), std::nullopt) << text;
  }
  for (const auto* text :
       {"2026-11-16T20:17:20Z", "2026-11-16T20:17:20.Z", "2026-11-16T20:17:20,5Z"}) {
    EXPECT_EQ(secondsOf(text, true), std::nullopt) << text;
  }
}

TEST(ISO8601DateFormatter, FormatsWholeSecondsInUTC) {
  EXPECT_EQ(ISO8601DateFormatter::format(at(1794860240.999)), "2026-11-16T20:17:20Z");
  EXPECT_EQ(ISO8601DateFormatter::format(at(-0.5)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(ISO8601DateFormatter::format(at(1709164800)), "2024-02-29T00:00:00Z");
  const auto text = ISO8601DateFormatter::format(at(1794860240));
  EXPECT_EQ(secondsOf(text, false), 1794860240);
}

}  // namespace
}  // namespace fp
