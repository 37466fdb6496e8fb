#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace drive::cli::test_support {

// The built `pralodrive` as a script runs it: its own environment, standard input and output
// through pipes, standard error kept in a file.
class PralodriveChild {
 public:
  // `environment` replaces those variables and every inherited PRALODRIVE_ one.
  PralodriveChild(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& environment,
                  const std::filesystem::path& errorFile);
  ~PralodriveChild();
  PralodriveChild(const PralodriveChild&) = delete;
  PralodriveChild& operator=(const PralodriveChild&) = delete;

  void writeLine(const std::string& line);
  // The next line of standard output; none when the output ends or none comes for 30 s.
  std::optional<std::string> readLine();
  void sendSignal(int signal);
  pid_t pid() const { return pid_; }
  // Closes standard input, reads the output to its end and waits: the exit status, or
  // 128 + the signal that ended it.
  int finish();
  // What standard output held after the lines already read, once finished.
  const std::string& rest() const { return buffer_; }

 private:
  void closeInput();

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  std::string buffer_;
};

}  // namespace drive::cli::test_support
