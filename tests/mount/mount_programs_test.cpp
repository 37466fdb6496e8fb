// Programs nobody here wrote, on a real mount.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "mount/mount_fixture.h"
#include "support/test_files.h"

namespace drive::mount::test_support {
namespace {

const std::string kDocuments = "Alex Morgan/Documents";

// A tree of `files` small files in ten folders, each with contents of its own.
void makeTree(const std::filesystem::path& root, int files) {
  for (int n = 0; n < files; ++n) {
    const auto folder = root / ("dir" + std::to_string(n % 10));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / ("file" + std::to_string(n) + ".txt"))
        << "file " << n << "\n"
        << std::string(static_cast<std::size_t>(n * 37 % 5000), static_cast<char>('a' + n % 26));
  }
}

bool hasProgram(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

// Waits up to `seconds` for `check` to hold.
bool eventually(const std::function<bool()>& check, int seconds = 15) {
  for (int tenth = 0; tenth < seconds * 10; ++tenth) {
    if (check()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return check();
}

using MountPrograms = MountTest;

// Trees of the size people copy; a fifth under the sanitizers, which make every upload several
// times slower on the same path.
#ifdef DRIVE_SANITIZED
constexpr int kTreeFiles = 200;
constexpr int kRepositoryFiles = 60;
#else
constexpr int kTreeFiles = 1000;
constexpr int kRepositoryFiles = 200;
#endif
constexpr int kUploadSeconds = 600;

TEST_F(MountPrograms, CopiedAndUntarredTreesComeBackFromTheServiceAfterARemountWithAnEmptyStore) {
  makeTree(local("tree"), kTreeFiles);
  std::string output;
  ASSERT_EQ(sh("cp -a '" + local("tree").string() + "' '" + kDocuments + "/tree'", &output), 0)
      << output;
  ASSERT_EQ(sh("tar -C '" + local().string() + "' -cf '" + local("tree.tar").string() + "' tree"),
            0);
  EXPECT_EQ(
      sh("cd '" + kDocuments + "' && mkdir x && tar -C x -xf '" + local("tree.tar").string() + "'"),
      0);
  ASSERT_TRUE(syncWait(kUploadSeconds));
  EXPECT_EQ(unmount(), 0) << mountErrors();
  // A new replica too: every folder is listed afresh while diff reads it.
  std::filesystem::remove_all(root() / "cache");
  std::filesystem::remove_all(root() / "state");
  mount();
  EXPECT_EQ(sh("diff -r '" + local("tree").string() + "' '" + kDocuments + "/tree'", &output), 0)
      << output;
  EXPECT_EQ(sh("diff -r '" + local("tree").string() + "' '" + kDocuments + "/x/tree'", &output), 0)
      << output;
  EXPECT_EQ(serviceContent(kDocuments + "/tree/dir3/file13.txt"),
            drive::test_support::readText(local("tree/dir3/file13.txt")));
}

TEST_F(MountPrograms, GitRepositoryStaysCleanAcrossARemount) {
  if (!hasProgram("git")) GTEST_SKIP() << "git is not installed";
  makeTree(drive(kDocuments + "/repo"), kRepositoryFiles);
  const std::string repo = "cd '" + kDocuments + "/repo' && ";
  const std::string git = "git -c user.name=T -c user.email=t@t ";
  std::string output;
  ASSERT_EQ(sh(repo + git + "init -q && " + git + "add -A && " + git + "commit -qm first", &output),
            0)
      << output;
  ASSERT_TRUE(syncWait(kUploadSeconds));
  EXPECT_EQ(unmount(), 0) << mountErrors();
  std::filesystem::remove_all(root() / "cache");
  mount();
  EXPECT_EQ(sh(repo + git + "fsck --no-progress", &output), 0) << output;
  ASSERT_EQ(sh(repo + git + "status --porcelain", &output), 0) << output;
  EXPECT_EQ(output, "");
}

TEST_F(MountPrograms, RsyncSendsOnlyWhatChangedAndKeepsTheDatesItSet) {
  if (!hasProgram("rsync")) GTEST_SKIP() << "rsync is not installed";
  makeTree(local("tree"), kTreeFiles);
  const auto rsync = "rsync -a --stats --no-human-readable '" + local("tree").string() + "/' '" +
                     kDocuments + "/tree/'";
  std::string output;
  ASSERT_EQ(sh(rsync, &output), 0) << output;
  EXPECT_NE(output.find("Number of regular files transferred: " + std::to_string(kTreeFiles)),
            std::string::npos)
      << output;
  ASSERT_EQ(sh(rsync, &output), 0) << output;
  EXPECT_NE(output.find("Number of regular files transferred: 0"), std::string::npos) << output;
  std::ofstream(local("tree/dir3/file13.txt"), std::ios::app) << "more\n";
  ASSERT_EQ(sh(rsync, &output), 0) << output;
  EXPECT_NE(output.find("Number of regular files transferred: 1"), std::string::npos) << output;
  ASSERT_EQ(sh("touch -d @1000000000 '" + kDocuments + "/Notes.md' && stat -c %Y '" + kDocuments +
                   "/Notes.md'",
               &output),
            0);
  EXPECT_EQ(output, "1000000000\n");
  ASSERT_TRUE(syncWait(kUploadSeconds));
  EXPECT_EQ(serviceContent(kDocuments + "/tree/dir3/file13.txt"),
            drive::test_support::readText(local("tree/dir3/file13.txt")));
}

TEST_F(MountPrograms, EditorSavesKeepTheItemAndReachTheService) {
  const auto path = kDocuments + "/Notes.md";
  const auto id = serviceId(path);
  ASSERT_TRUE(id);
  const auto saved = [&](const std::string& contents) {
    EXPECT_TRUE(eventually([&] { return serviceContent(path) == contents; }))
        << serviceContent(path).value_or("(gone)");
    EXPECT_EQ(serviceId(path), id);
  };
  std::string output;
  ASSERT_EQ(sh("sed -i 's/printer/PRINTER/' '" + path + "'", &output), 0) << output;
  saved("# Notes\n\n- call the PRINTER\n- book the venue\n");
  // What most editors do: write a temporary file beside the original, rename it over.
  ASSERT_EQ(sh("cd '" + kDocuments + "' && printf 'by rename\\n' > .Notes.md.tmp && " +
                   "mv .Notes.md.tmp Notes.md && cat Notes.md",
               &output),
            0);
  EXPECT_EQ(output, "by rename\n");
  saved("by rename\n");
  if (hasProgram("python3")) {
    ASSERT_EQ(sh("python3 -c \"import os; open('" + path + ".new', 'w').write('python\\n'); " +
                     "os.replace('" + path + ".new', '" + path + "')\"",
                 &output),
              0)
        << output;
    saved("python\n");
  }
  if (hasProgram("vim")) {
    ASSERT_EQ(sh("vim -es -u NONE -c '%s/.*/vim/' -c wq '" + path + "'", &output), 0) << output;
    saved("vim\n");
  }
  EXPECT_FALSE(std::filesystem::exists(drive(path + ".new")));
  // A change on the service later reaches the name a save by rename left.
  service().tree().writeContent(*id, "changed on the web\n");
  EXPECT_TRUE(eventually(
      [&] { return drive::test_support::readText(drive(path)) == "changed on the web\n"; }));
}

TEST_F(MountPrograms, AChangeOnTheServiceShowsUpWithoutARemount) {
  std::string output;
  ASSERT_EQ(sh("ls '" + kDocuments + "'", &output), 0);
  ASSERT_EQ(output.find("Web.txt"), std::string::npos);
  auto& tree = service().tree();
  tree.addFile(*serviceId(kDocuments), "Web.txt", "from the web\n");
  tree.rename(*serviceId(kDocuments + "/Notes.md"), "Renamed.md");
  const auto listed = [&](const std::string& name) {
    sh("ls '" + kDocuments + "'", &output);
    return output.find(name) != std::string::npos;
  };
  EXPECT_TRUE(eventually([&] { return listed("Web.txt") && listed("Renamed.md"); }, 10)) << output;
  EXPECT_FALSE(listed("Notes.md"));
  EXPECT_EQ(drive::test_support::readText(drive(kDocuments + "/Web.txt")), "from the web\n");
  tree.writeContent(*serviceId(kDocuments + "/Web.txt"), "changed on the web\n");
  EXPECT_TRUE(eventually([&] {
    return drive::test_support::readText(drive(kDocuments + "/Web.txt")) == "changed on the web\n";
  }));
}

// 150 files; the kill comes while cp still runs.
TEST_F(MountPrograms, FilesReportedWrittenBeforeAKillReachTheService) {
  makeTree(local("tree"), 150);
  const auto list = local("written.txt");
  // One cp per file, so that each one that returned is known.
  std::thread copying([&] {
    sh("cd '" + local("tree").string() + "' && for f in */*; do mkdir -p \"$OLDPWD/" + kDocuments +
       "/k/$(dirname $f)\" && cp -a \"$f\" \"$OLDPWD/" + kDocuments +
       "/k/$f\" && echo \"$f\" >> '" + list.string() + "' || break; done");
  });
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(list); }));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  killMount();
  copying.join();
  mount();
  ASSERT_TRUE(syncWait());
  std::ifstream written(list);
  int count = 0;
  for (std::string file; std::getline(written, file); ++count) {
    EXPECT_EQ(serviceContent(kDocuments + "/k/" + file),
              drive::test_support::readText(local("tree/" + file)))
        << file;
  }
  EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace drive::mount::test_support
