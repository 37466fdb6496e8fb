// Item identifiers as the platform hands them over, and the shell's command lines.

#include "cli/shell_words.h"
#include "fuzz/fuzz_input.h"
#include "model/drive_item_id.h"

namespace drive::fuzz {
namespace {

void parseIdentifier(const std::string& text) {
  const auto id = DriveItemID::parse(text);
  require(DriveItemID::parse(id.format()) == id, "an identifier does not survive its format");
  require(DriveItemID::fromPlatformIdentifier(id.platformIdentifier()) == id,
          "an identifier does not survive the platform's form");
}

void splitLine(const std::string& line) {
  const auto words = cli::splitShellWords(line);
  if (!words) return;
  std::string quoted;
  for (const auto& word : *words)
    quoted += (quoted.empty() ? "" : " ") + cli::shellQuoted(word);
  require(cli::splitShellWords(quoted) == words, "quoted words do not split back");
}

}  // namespace
}  // namespace drive::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = drive::fuzz::FuzzInput::from(data, size);
  const std::string text(input.text);
  if (input.choice % 2 == 0) {
    drive::fuzz::parseIdentifier(text);
  } else {
    drive::fuzz::splitLine(text);
  }
  return 0;
}
