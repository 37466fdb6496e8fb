#include "cli/mount_demo.h"

#include <stdio.h>

#include <array>
#include <fstream>
#include <thread>

#include "extension/file_provider_extension.h"
#include "mount/mount_session.h"
#include "replica/replica.h"

namespace drive::cli {
namespace {

const std::string kDocuments = "Alex Morgan/Documents";

// Runs a shell command in the mounted folder; what it printed, both streams.
std::string shellOutput(const std::filesystem::path& folder, const std::string& command) {
  const auto line = "cd '" + folder.string() + "' && " + command + " 2>&1";
  std::string output;
  if (FILE* pipe = ::popen(line.c_str(), "r")) {
    std::array<char, 4096> buffer{};
    while (const auto got = std::fread(buffer.data(), 1, buffer.size(), pipe))
      output.append(buffer.data(), got);
    ::pclose(pipe);
  }
  return output;
}

class Walk {
 public:
  Walk(DemoSandbox& sandbox, const std::filesystem::path& folder, std::ostream& out)
      : sandbox_(sandbox), folder_(folder), out_(out) {}

  bool run() {
    heading("Browsing");
    show("ls -l", "Alex Morgan");
    show("ls -l '" + kDocuments + "'", "Notes.md");
    show("cat '" + kDocuments + "/Notes.md'", "# Notes");
    show("cat 'Alex Morgan/Launch Scene.vtrscene'", "Permission denied");
    heading("Changing things");
    const auto local = sandbox_.container().parent_path() / "tmp" / "Hello.txt";
    std::ofstream(local) << "Hello from this machine.\n";
    show("cp '" + local.string() + "' '" + kDocuments + "/'", "");
    show("mkdir '" + kDocuments + "/Trip'", "");
    show("mv '" + kDocuments + "/Hello.txt' '" + kDocuments + "/Trip/'", "");
    show("ls -l '" + kDocuments + "/Trip'", "Hello.txt");
    show("rm 'Alex Morgan/Photos/budget.csv'", "");
    show("ls 'Alex Morgan/Photos'", "Beach.jpg");
    show("ln -s Notes.md '" + kDocuments + "/link'", "Operation not permitted");
    heading("Keep offline");
    show(program() + " action offline 'Alex Morgan/Photos'", "done");
    show(program() + " status 'Alex Morgan/Photos/Beach.jpg'", "kept offline");
    heading("A change made on the service");
    say("Someone adds \"From the web.txt\" to Documents in the web app; the replica notices\n"
        "within its poll interval, and the kernel is told to look again:");
    const auto documents = sandbox_.service().tree().nodeAt(kDocuments);
    if (!documents) throw std::runtime_error("the demo drive has no Documents folder");
    sandbox_.service().tree().addFile(documents->id, "From the web.txt", "Made elsewhere.\n");
    waitFor("ls '" + kDocuments + "'", "From the web.txt");
    show("ls -l '" + kDocuments + "'", "From the web.txt");
    show("cat '" + kDocuments + "/From the web.txt'", "Made elsewhere.");
    return surprises_ == 0;
  }

 private:
  std::string program() const {
    std::error_code ignored;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return "'" + self.string() + "'";
  }

  void heading(const std::string& title) { out_ << "\n== " << title << "\n"; }
  void say(const std::string& text) { out_ << text << "\n"; }

  void show(const std::string& command, const std::string& expected) {
    out_ << "\n$ " << command << "\n";
    const auto output = shellOutput(folder_, command);
    std::string indented;
    for (std::size_t at = 0; at < output.size();) {
      const auto end = output.find('\n', at);
      indented += "  " + output.substr(at, end - at) + "\n";
      at = end == std::string::npos ? output.size() : end + 1;
    }
    out_ << indented;
    if (output.find(expected) == std::string::npos) {
      ++surprises_;
      out_ << "!! expected to see \"" << expected << "\"\n";
    }
    out_.flush();
  }

  void waitFor(const std::string& command, const std::string& expected) {
    for (int attempt = 0; attempt < 40; ++attempt) {
      if (shellOutput(folder_, command).find(expected) != std::string::npos) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
  }

  DemoSandbox& sandbox_;
  std::filesystem::path folder_;
  std::ostream& out_;
  int surprises_ = 0;
};

}  // namespace

bool runMountDemo(DemoSandbox& sandbox, std::ostream& out, const std::function<void()>& keep) {
  const auto root = sandbox.container().parent_path();
  auto options = replica::ReplicaOptions::defaults();
  options.stateDirectory = root / "state";
  options.cacheDirectory = root / "cache";
  options.pollInterval = std::chrono::seconds(2);
  const auto folder = root / "PraloDrive";
  std::filesystem::create_directories(folder);

  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  replica::Replica replica(extension, options);
  replica.start();
  mount::MountSession session(replica, {folder, false});
  std::thread serving([&session] { session.run(false); });
  out << "PraloDrive demo: the reference service's demo drive, mounted at\n  " << folder.string()
      << "\nEach step shows a command run in that folder and what it printed.\n";
  bool expected = false;
  try {
    expected = Walk(sandbox, folder, out).run();
  } catch (...) {
    session.stop();
    serving.join();
    throw;
  }
  replica.waitUntilIdle(std::chrono::seconds(20));
  out << (expected ? "\nEvery step showed what it should.\n"
                   : "\nSome steps showed something unexpected (marked !!).\n");
  if (keep) {
    out << "\nThe drive stays mounted at " << folder.string()
        << ": open it in a file manager.\nPress Ctrl-C to unmount." << std::endl;
    keep();
  }
  session.stop();
  serving.join();
  replica.stop();
  return expected;
}

}  // namespace drive::cli
