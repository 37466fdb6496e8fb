// bench-peak-anonymous COMMAND [ARG...]: runs the command and prints the most anonymous
// resident memory it held (RssAnon, sampled every millisecond), in KiB. File pages, such as a
// mapping of the file being received, are not counted: the kernel can write those back.
// Exits with the command's status.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>

namespace {

long rssAnonKiB(const std::string& statusFile) {
  std::ifstream status(statusFile);
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with("RssAnon:")) return std::stol(line.substr(8));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: bench-peak-anonymous COMMAND [ARG...]\n";
    return 2;
  }
  const pid_t child = ::fork();
  if (child == 0) {
    ::execvp(argv[1], argv + 1);
    ::_exit(127);
  }
  const std::string statusFile = "/proc/" + std::to_string(child) + "/status";
  long peak = 0;
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    peak = std::max(peak, rssAnonKiB(statusFile));
    ::usleep(1000);
  }
  std::cout << peak << "\n";
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
