#include "shell_words.h"

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

}  // namespace drive::cli
