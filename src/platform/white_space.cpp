#include "platform/white_space.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace fp {
namespace {

bool isWhiteSpaceOrNewline(UChar32 c) {
  if ((c >= 0x09 && c <= 0x0D) || c == 0x85) return true;
  const auto type = u_charType(c);
  return type == U_SPACE_SEPARATOR || type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR;
}

// Most names are plain ASCII; ICU's conversions would cost more than the whole rule.
bool isASCII(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

bool isASCIIWhiteSpace(unsigned char c) {
  return (c >= 0x09 && c <= 0x0D) || c == ' ';
}

std::string trimmedASCII(const std::string& text) {
  const auto first = std::find_if_not(text.begin(), text.end(), isASCIIWhiteSpace);
  const auto last =
      std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isASCIIWhiteSpace);
  return std::string(first, last.base());
}

}  // namespace

std::string trimmingWhiteSpaceAndNewlines(const std::string& text) {
  if (isASCII(text)) return trimmedASCII(text);
  const auto unicode = icu::UnicodeString::fromUTF8(text);
  int32_t start = 0;
  int32_t end = unicode.length();
  while (start < end && isWhiteSpaceOrNewline(unicode.char32At(start))) {
    start = unicode.moveIndex32(start, 1);
  }
  while (end > start) {
    const int32_t previous = unicode.moveIndex32(end, -1);
    if (!isWhiteSpaceOrNewline(unicode.char32At(previous))) break;
    end = previous;
  }
  // Untouched bytes when nothing is trimmed, so invalid UTF-8 is never rewritten silently.
  if (start == 0 && end == unicode.length()) return text;
  std::string trimmed;
  unicode.tempSubStringBetween(start, end).toUTF8String(trimmed);
  return trimmed;
}

}  // namespace fp
