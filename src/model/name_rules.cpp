#include "model/name_rules.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "platform/white_space.h"

namespace drive {
namespace {

// Most names are plain ASCII; ICU's conversions would cost more than the whole rule.
bool isASCII(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

std::string lowercasedASCII(std::string name) {
  for (auto& c : name) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return name;
}

std::string toUTF8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

std::string replaced(std::string text, char from, char to) {
  std::replace(text.begin(), text.end(), from, to);
  return text;
}

}  // namespace

std::string trimmedName(const std::string& name) {
  return fp::trimmingWhiteSpaceAndNewlines(name);
}

std::string lowercasedName(const std::string& name) {
  if (isASCII(name)) return lowercasedASCII(name);
  auto text = icu::UnicodeString::fromUTF8(name);
  return toUTF8(text.toLower(icu::Locale::getRoot()));
}

std::string nameKey(const std::string& name) {
  return lowercasedName(trimmedName(name));
}

std::string composedName(const std::string& name) {
  if (isASCII(name)) return name;
  UErrorCode status = U_ZERO_ERROR;
  const auto* nfc = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return name;
  const auto composed = nfc->normalize(icu::UnicodeString::fromUTF8(name), status);
  return U_FAILURE(status) ? name : toUTF8(composed);
}

std::string cleanFilename(const std::string& name) {
  std::string cleaned = replaced(trimmedName(name), '/', ':');
  cleaned.erase(std::remove(cleaned.begin(), cleaned.end(), '\0'), cleaned.end());
  return cleaned.empty() ? "Untitled" : cleaned;
}

std::string uniqueFilename(const std::string& name, std::set<std::string>& used) {
  const std::string base = trimmedName(name).empty() ? "Untitled" : replaced(name, '/', ':');
  std::string candidate = base;
  for (int counter = 2; used.contains(lowercasedName(candidate)); ++counter) {
    candidate = base + " (" + std::to_string(counter) + ")";
  }
  used.insert(lowercasedName(candidate));
  return candidate;
}

bool isArchiveName(const std::string& name) {
  const auto key = nameKey(name);
  return key == "__archive__" || key == "_archive";
}

bool isIgnoredName(const std::string& name) {
  if (name == "Icon\r") return true;
  const auto key = nameKey(name);
  return key == ".ds_store" || key == "thumbs.db" || key == "desktop.ini" ||
         key == ".volumeicon.icns" || key.starts_with("._");
}

}  // namespace drive
