#include "cli/pralodrive_child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/test_files.h"

extern char** environ;

namespace drive::cli::test_support {
namespace {

std::vector<std::string> childEnvironment(const std::map<std::string, std::string>& overrides) {
  std::vector<std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable = *entry;
    const auto name = variable.substr(0, variable.find('='));
    if (!name.starts_with("PRALODRIVE_") && !overrides.contains(name)) {
      variables.push_back(variable);
    }
  }
  for (const auto& [name, value] : overrides)
    variables.push_back(name + "=" + value);
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (auto& text : strings)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

PralodriveChild::PralodriveChild(const std::vector<std::string>& arguments,
                                 const std::map<std::string, std::string>& environment,
                                 const std::filesystem::path& errorFile) {
  std::vector<std::string> argv{drive::test_support::builtProgram("pralodrive").string()};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  auto envp = childEnvironment(environment);
  int input[2], output[2];
  if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (posix_spawn(&pid_, argv[0].c_str(), &actions, nullptr, pointers(argv).data(),
                  pointers(envp).data()) != 0) {
    pid_ = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  ::close(input[0]);
  ::close(output[1]);
  in_ = input[1];
  out_ = output[0];
  ::signal(SIGPIPE, SIG_IGN);  // a child that died must fail the test, not end it
}

PralodriveChild::~PralodriveChild() {
  closeInput();
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  ::close(out_);
}

void PralodriveChild::writeLine(const std::string& line) {
  const auto text = line + "\n";
  for (std::size_t written = 0; written < text.size();) {
    const auto count = ::write(in_, text.data() + written, text.size() - written);
    if (count <= 0) return;
    written += static_cast<std::size_t>(count);
  }
}

std::optional<std::string> PralodriveChild::readLine() {
  pollfd wait{out_, POLLIN, 0};
  while (buffer_.find('\n') == std::string::npos) {
    char chunk[4096];
    if (::poll(&wait, 1, 30'000) != 1) return std::nullopt;
    const auto count = ::read(out_, chunk, sizeof chunk);
    if (count <= 0) return std::nullopt;
    buffer_.append(chunk, static_cast<std::size_t>(count));
  }
  const auto end = buffer_.find('\n');
  auto line = buffer_.substr(0, end);
  buffer_.erase(0, end + 1);
  return line;
}

void PralodriveChild::sendSignal(int signal) {
  if (pid_ > 0) ::kill(pid_, signal);
}

int PralodriveChild::finish() {
  closeInput();
  char chunk[4096];
  for (ssize_t count; (count = ::read(out_, chunk, sizeof chunk)) > 0;)
    buffer_.append(chunk, static_cast<std::size_t>(count));
  if (pid_ <= 0) return -1;
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void PralodriveChild::closeInput() {
  if (in_ >= 0) ::close(in_);
  in_ = -1;
}

}  // namespace drive::cli::test_support
