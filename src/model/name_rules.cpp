#include "model/name_rules.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace drive {
namespace {

// Z* categories, tab through carriage return, and NEL.
bool isWhiteSpaceOrNewline(UChar32 c) {
  if ((c >= 0x09 && c <= 0x0D) || c == 0x85) return true;
  const auto type = u_charType(c);
  return type == U_SPACE_SEPARATOR || type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR;
}

// Most names are plain ASCII; ICU's conversions would cost more than the whole rule.
bool isASCII(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

// The white-space-and-newline set within ASCII.
bool isASCIIWhiteSpace(unsigned char c) {
  return (c >= 0x09 && c <= 0x0D) || c == ' ';
}

std::string trimmedASCII(const std::string& name) {
  const auto first = std::find_if_not(name.begin(), name.end(), isASCIIWhiteSpace);
  const auto last =
      std::find_if_not(name.rbegin(), std::make_reverse_iterator(first), isASCIIWhiteSpace);
  return std::string(first, last.base());
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
  if (isASCII(name)) return trimmedASCII(name);
  const auto text = icu::UnicodeString::fromUTF8(name);
  int32_t start = 0;
  int32_t end = text.length();
  while (start < end && isWhiteSpaceOrNewline(text.char32At(start))) {
    start = text.moveIndex32(start, 1);
  }
  while (end > start) {
    const int32_t previous = text.moveIndex32(end, -1);
    if (!isWhiteSpaceOrNewline(text.char32At(previous))) break;
    end = previous;
  }
  // Untouched bytes when nothing is trimmed, so invalid UTF-8 is never rewritten silently.
  if (start == 0 && end == text.length()) return name;
  return toUTF8(text.tempSubStringBetween(start, end));
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
