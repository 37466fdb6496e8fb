#include "fuzz/fuzz_environment.h"

#include <cstdlib>
#include <system_error>

#include "platform/environment.h"

namespace drive::fuzz {
namespace {

std::filesystem::path& scratch() {
  static std::filesystem::path root;
  return root;
}

void removeScratch() {
  std::error_code ignored;
  std::filesystem::remove_all(scratch(), ignored);
}

}  // namespace

std::filesystem::path installScratchEnvironment() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "pralodrive-fuzz-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  scratch() = pattern;
  std::atexit(removeScratch);
  auto environment = fp::Environment::defaults();
  environment.homeDirectory = scratch() / "home";
  environment.dataHome = scratch() / "data";
  environment.configHome = scratch() / "config";
  environment.appGroupContainer = scratch() / "container";
  environment.temporaryDirectory = scratch() / "tmp";
  std::filesystem::create_directories(environment.temporaryDirectory);
  std::filesystem::create_directories(scratch() / "container" / "Library" / "Preferences");
  fp::Environment::install(environment);
  return scratch();
}

}  // namespace drive::fuzz
