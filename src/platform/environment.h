#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace fp {

// Time as the program sees it; tests install one that advances instantly on sleep.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::chrono::system_clock::time_point now() const = 0;
  virtual void sleepFor(std::chrono::nanoseconds duration) = 0;
};

class SystemClock : public Clock {
 public:
  std::chrono::system_clock::time_point now() const override;
  void sleepFor(std::chrono::nanoseconds duration) override;
};

struct PlatformVersion {
  int major = 14;
  int minor = 0;
  int patch = 0;
  bool isAtLeast(int otherMajor, int otherMinor, int otherPatch = 0) const;
  // "X.Y" or "X.Y.Z"; nullopt when malformed.
  static std::optional<PlatformVersion> parse(const std::string& text);
};

// What the program fixes or takes from the operating system, in one replaceable place.
struct Environment {
  std::string apiBaseURL;
  std::string webBaseURL;
  std::string companionBaseURL;
  // The app-group container; none when the platform gives none.
  std::optional<std::filesystem::path> appGroupContainer;
  std::filesystem::path homeDirectory;
  // ${XDG_DATA_HOME:-$HOME/.local/share}: where the keychain stand-in keeps its items.
  std::filesystem::path dataHome;
  // Where the standard user defaults live ($XDG_CONFIG_HOME); none: <home>/.config.
  std::optional<std::filesystem::path> configHome;
  std::filesystem::path temporaryDirectory;
  PlatformVersion platformVersion;
  std::shared_ptr<Clock> clock;

  // The fixed production values and the process's own directories.
  static Environment defaults();

  static std::shared_ptr<const Environment> current();
  static void install(Environment environment);
};

}  // namespace fp
