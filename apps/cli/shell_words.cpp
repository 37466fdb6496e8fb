#include "cli/shell_words.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

namespace drive::cli {

std::optional<std::vector<std::string>> splitShellWords(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  for (std::size_t index = 0; index < line.size(); ++index) {
    const char c = line[index];
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      if (inWord) words.push_back(std::exchange(word, {}));
      inWord = false;
      continue;
    }
    inWord = true;
    if (c == '\\') {
      if (++index == line.size()) return std::nullopt;
      word += line[index];
    } else if (c == '\'') {
      const auto close = line.find('\'', index + 1);
      if (close == std::string::npos) return std::nullopt;
      word += line.substr(index + 1, close - index - 1);
      index = close;
    } else if (c == '"') {
      for (++index;; ++index) {
        if (index >= line.size()) return std::nullopt;
        if (line[index] == '"') break;
        if (line[index] == '\\' && index + 1 < line.size() &&
            std::strchr("\\\"$`", line[index + 1]) != nullptr) {
          ++index;
        }
        word += line[index];
      }
    } else {
      word += c;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

std::string shellQuoted(const std::string& word) {
  const bool plain = !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return std::isalnum(c) || (c != 0 && std::strchr("_@%+=:,./-", c) != nullptr);
  });
  if (plain) return word;
  std::string quoted = "'";
  for (const char c : word)
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace drive::cli
