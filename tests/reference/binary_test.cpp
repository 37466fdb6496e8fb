// pralodrive-reference as a user runs it: its first two lines, serving, a clean stop on
// SIGTERM and the same tree after a restart.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "model/wire_models.h"
#include "reference/http_client.h"
#include "reference/reference_service.h"
#include "support/test_environment.h"
#include "support/test_files.h"

extern char** environ;

namespace drive::reference::test_support {
namespace {

// The binary as a child process, its standard output and error read through pipes.
class Child {
 public:
  explicit Child(const std::vector<std::string>& arguments) {
    const std::string program = drive::test_support::builtProgram("pralodrive-reference");
    int out[2], err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0)
      throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) {
      pid_ = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    out_ = out[0];
    err_ = err[0];
  }

  bool started() const { return pid_ > 0; }

  ~Child() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    ::close(out_);
    ::close(err_);
  }

  // The next line of standard output; empty when the output ends or 10 seconds pass.
  std::string readLine() {
    std::string line;
    char c = 0;
    pollfd wait{out_, POLLIN, 0};
    while (::poll(&wait, 1, 10'000) == 1 && ::read(out_, &c, 1) == 1 && c != '\n')
      line += c;
    return line;
  }

  std::string readError() {
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = ::read(err_, buffer, sizeof buffer)) > 0;)
      text.append(buffer, static_cast<std::size_t>(got));
    return text;
  }

  // The exit status after `signal` (0: none sent); a child still running after 10 seconds
  // is killed.
  int finish(int signal = 0) {
    if (pid_ <= 0) return -1;
    if (signal != 0) ::kill(pid_, signal);
    int status = 0;
    for (int tries = 0; ::waitpid(pid_, &status, WNOHANG) == 0; ++tries) {
      if (tries == 1000) ::kill(pid_, SIGKILL);
      ::usleep(10'000);
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
};

std::string urlIn(const std::string& line, const std::string& label) {
  std::smatch match;
  const std::regex pattern("^" + label + " (http://127\\.0\\.0\\.1:[0-9]+)$");
  return std::regex_match(line, match, pattern) ? match[1].str() : std::string();
}

class ReferenceBinary : public drive::test_support::DriveTest {
 protected:
  std::vector<std::string> arguments() const {
    return {"--seed",           "demo", "--data",      (root() / "data").string(), "--port", "0",
            "--companion-port", "0",    "--container", container().string()};
  }
};

TEST_F(ReferenceBinary, ServesUntilStoppedAndTheSameTreeAfterARestart) {
  Child first(arguments());
  ASSERT_TRUE(first.started());
  const auto service = urlIn(first.readLine(), "service");
  const auto companion = urlIn(first.readLine(), "companion");
  ASSERT_FALSE(service.empty());
  ASSERT_FALSE(companion.empty());
  const auto session = decodeRecord<DriveSession>(HttpClient(companion).get("/session").body);
  HttpClient client(service, session.token);
  const auto listing = client.get("/storage/listing");
  const auto root = decodeRecord<DriveListing>(listing.body).namespaces[0].rootNodeId;
  ASSERT_EQ(client
                .sendJSON("POST", "/storage/nodes",
                          {{"parentId", root}, {"name", "Kept"}, {"kind", "folder"}})
                .status,
            201);
  const auto children = client.get("/storage/nodes/" + root + "/children").body;
  EXPECT_EQ(first.finish(SIGTERM), 0);

  Child second(arguments());
  const auto again = urlIn(second.readLine(), "service");
  ASSERT_FALSE(again.empty());
  second.readLine();
  HttpClient restarted(again, session.token);
  EXPECT_EQ(restarted.get("/storage/listing").body, listing.body);
  EXPECT_EQ(restarted.get("/storage/nodes/" + root + "/children").body, children);
  EXPECT_EQ(second.finish(SIGINT), 0);
}

TEST_F(ReferenceBinary, BadOptionsAndBusyPortsEndWithAClearError) {
  auto withSeed = arguments();
  withSeed[1] = "everything";
  Child badSeed(withSeed);
  EXPECT_NE(badSeed.finish(), 0);
  EXPECT_NE(badSeed.readError().find("--seed"), std::string::npos);

  ReferenceService occupying;
  occupying.start();
  auto busy = arguments();
  busy[5] = std::to_string(occupying.port());
  Child taken(busy);
  EXPECT_EQ(taken.finish(), 1);
  EXPECT_NE(taken.readError().find("port " + busy[5]), std::string::npos);
  EXPECT_EQ(taken.readLine(), "");

  auto onAFile = arguments();
  std::ofstream(root() / "plain-file") << "not a directory";
  onAFile[3] = (root() / "plain-file").string();
  Child misplaced(onAFile);
  EXPECT_EQ(misplaced.finish(), 1);
  EXPECT_NE(misplaced.readError().find("pralodrive-reference: "), std::string::npos);
}

}  // namespace
}  // namespace drive::reference::test_support
