// What programs are told, errno by errno.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>
#include <vector>

#include "mount/mount_fixture.h"
#include "support/test_files.h"

namespace drive::mount::test_support {
namespace {

using MountSemantics = MountTest;

std::string at(const std::filesystem::path& path) {
  return path.string();
}

// errno of a call that must fail, or 0 when it succeeded.
int failure(int result) {
  return result < 0 ? errno : 0;
}

int renameWith(const std::filesystem::path& from, const std::filesystem::path& to, unsigned flags) {
  return static_cast<int>(
      ::syscall(SYS_renameat2, AT_FDCWD, at(from).c_str(), AT_FDCWD, at(to).c_str(), flags));
}

std::string xattr(const std::filesystem::path& path, const std::string& name) {
  std::string value(1024, '\0');
  const auto size = ::getxattr(at(path).c_str(), name.c_str(), value.data(), value.size());
  value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return value;
}

TEST_F(MountSemantics, WhatADriveHasNoNotionOfIsRefusedAsLinuxFileSystemsDo) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const auto beside = drive("Alex Morgan/Documents/other");
  EXPECT_EQ(failure(::symlink("Notes.md", at(beside).c_str())), EPERM);
  EXPECT_EQ(failure(::link(at(notes).c_str(), at(beside).c_str())), EPERM);
  EXPECT_EQ(failure(::mkfifo(at(beside).c_str(), 0644)), EPERM);
  EXPECT_EQ(failure(::mknod(at(beside).c_str(), S_IFCHR | 0644, makedev(1, 3))), EPERM);
  // A regular file made with mknod is one like any other.
  const auto made = drive("Alex Morgan/Documents/made");
  EXPECT_EQ(failure(::mknod(at(made).c_str(), S_IFREG | 0644, 0)), 0);
  EXPECT_TRUE(std::filesystem::is_regular_file(made));
  EXPECT_EQ(failure(::chown(at(notes).c_str(), 4242, 4242)), EPERM);
  struct stat status {};
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  const auto changed = status.st_ctim;
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(failure(::chmod(at(notes).c_str(), 0600)), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0644u);
  EXPECT_GT(status.st_ctim.tv_sec * 1000000000 + status.st_ctim.tv_nsec,
            changed.tv_sec * 1000000000 + changed.tv_nsec)
      << "a chmod is a status change even when the mode stays";
  // Only the read-only bit is kept, as on FAT: writes are refused until it is cleared.
  ASSERT_EQ(::chmod(at(notes).c_str(), 0444), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0444u);
  EXPECT_EQ(failure(::open(at(notes).c_str(), O_WRONLY)), EACCES);
  ASSERT_EQ(::chmod(at(notes).c_str(), 0600), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0644u);
  const int writer = ::open(at(notes).c_str(), O_WRONLY);
  EXPECT_GE(writer, 0);
  ::close(writer);
  // The service dates no namespace folder; it is not shown as made in 1970.
  ASSERT_EQ(::stat(at(drive("Alex Morgan")).c_str(), &status), 0);
  EXPECT_GT(status.st_mtime, 1000000000);
  EXPECT_EQ(failure(::stat(at(drive("Alex Morgan/nothing")).c_str(), &status)), ENOENT);
  EXPECT_FALSE(std::filesystem::exists(beside));
}

TEST_F(MountSemantics, RefusalsAreEaccesAndKnownFromTheModes) {
  const auto readme = drive("Client Showcase/README.txt");
  struct stat status {};
  ASSERT_EQ(::stat(at(readme).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0444u);
  EXPECT_EQ(failure(::open(at(readme).c_str(), O_WRONLY)), EACCES);
  EXPECT_EQ(failure(::open(at(drive("Client Showcase/new.txt")).c_str(), O_CREAT | O_WRONLY, 0644)),
            EACCES);
  EXPECT_EQ(failure(::unlink(at(readme).c_str())), EACCES);
  EXPECT_EQ(failure(::open(at(drive("Alex Morgan/Launch Scene.vtrscene")).c_str(), O_RDONLY)),
            EACCES);
  EXPECT_EQ(drive::test_support::readText(readme).empty(), false);
  // A rename is refused whole: into a read-only folder, or taking a read-only item away.
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const auto empty = drive("Alex Morgan/Empty");
  ASSERT_TRUE(std::filesystem::create_directory(empty));
  EXPECT_EQ(failure(::rename(at(notes).c_str(), at(drive("Client Showcase/Notes.md")).c_str())),
            EACCES);
  EXPECT_EQ(failure(::rename(at(readme).c_str(), at(notes).c_str())), EACCES);
  EXPECT_EQ(failure(::rename(at(drive("Client Showcase/Deliverables")).c_str(), at(empty).c_str())),
            EACCES);
  EXPECT_TRUE(std::filesystem::is_directory(empty));
  EXPECT_EQ(drive::test_support::readText(notes).substr(0, 7), "# Notes");
}

TEST_F(MountSemantics, RenameFlagsAndEditorsRenameOver) {
  const auto documents = drive("Alex Morgan/Documents");
  const auto id = serviceId("Alex Morgan/Documents/Notes.md");
  drive::test_support::writeText(documents / "draft", "new notes\n");
  EXPECT_EQ(failure(renameWith(documents / "draft", documents / "Notes.md", RENAME_EXCHANGE)),
            EINVAL);
  EXPECT_EQ(failure(renameWith(documents / "draft", documents / "Notes.md", RENAME_NOREPLACE)),
            EEXIST);
  EXPECT_EQ(failure(renameWith(documents / "draft", documents / "Fresh.md", RENAME_NOREPLACE)), 0);
  // A file still open for writing is carried along by the rename over the original.
  const int fd = ::open(at(documents / "Fresh.md").c_str(), O_WRONLY | O_APPEND);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(
      failure(::rename(at(documents / "Fresh.md").c_str(), at(documents / "Notes.md").c_str())), 0);
  ASSERT_EQ(::write(fd, "more\n", 5), 5);
  ::close(fd);
  EXPECT_EQ(drive::test_support::readText(documents / "Notes.md"), "new notes\nmore\n");
  EXPECT_FALSE(std::filesystem::exists(documents / "Fresh.md"));
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/Notes.md"), "new notes\nmore\n");
  EXPECT_EQ(serviceId("Alex Morgan/Documents/Notes.md"), id);
  EXPECT_FALSE(serviceId("Alex Morgan/Documents/Fresh.md"));
  // A file not downloaded yet brings its contents along when it replaces another.
  const auto beach = serviceContent("Alex Morgan/Photos/Beach.jpg");
  ASSERT_EQ(failure(::rename(at(drive("Alex Morgan/Photos/Beach.jpg")).c_str(),
                             at(drive("Alex Morgan/Photos/budget.csv")).c_str())),
            0);
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Photos/budget.csv"), beach);
}

TEST_F(MountSemantics, AWriteToAFileTheServiceChangedMeanwhileIsRefused) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const int handle = ::open(at(notes).c_str(), O_RDWR);
  ASSERT_GE(handle, 0);
  service().tree().writeContent(*serviceId("Alex Morgan/Documents/Notes.md"), "from the web\n");
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (drive::test_support::readText(notes) != "from the web\n" &&
         std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const auto written = ::pwrite(handle, "# Mine", 6, 0);
  const int error = errno;
  ::close(handle);
  EXPECT_EQ(written, -1);
  EXPECT_EQ(error, ESTALE) << "what it wrote would reach no one";
  EXPECT_EQ(drive::test_support::readText(notes), "from the web\n");
}

// Saved by rename, then written in place at once, as an editor's save followed by a program
// that appends: the name and every handle show one size.
TEST_F(MountSemantics, AFileSavedOverAnotherAndWrittenAtOnceHasOneSize) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const auto saved = notes.parent_path() / "Notes.md.tmp";
  std::string mismatch;
  std::vector<int> handles;
  for (int round = 0; round < 30 && mismatch.empty(); ++round) {
    for (const int fd : std::exchange(handles, {}))
      ::close(fd);
    drive::test_support::writeText(saved, std::string(1000 + round, 's'));
    if (::rename(at(saved).c_str(), at(notes).c_str()) != 0) mismatch = "rename failed";
    for (const int flags : {O_RDWR, O_WRONLY, O_RDONLY})
      handles.push_back(::open(at(notes).c_str(), flags));
    for (int write = 0; write < 4 && mismatch.empty(); ++write) {
      const off_t end = 5000 * (write + 1) + round;
      struct stat byName {
      }, byHandle{};
      if (::pwrite(handles[write % 2], "x", 1, end - 1) != 1 ||
          ::stat(at(notes).c_str(), &byName) != 0 || ::fstat(handles[2], &byHandle) != 0 ||
          byName.st_size != end || byHandle.st_size != end) {
        mismatch = "round " + std::to_string(round) + ": " + std::to_string(byName.st_size) +
                   " by name, " + std::to_string(byHandle.st_size) + " by handle, not " +
                   std::to_string(end);
      }
    }
  }
  // Closed before any check fails: an open file would keep the mount from ending.
  for (const int fd : handles)
    ::close(fd);
  EXPECT_EQ(mismatch, "");
}

TEST_F(MountSemantics, AFailedDownloadIsEioAndTheNextOpenTriesAgain) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  service().injectFault("*/content", reference::Fault::dropped(), 20, "GET");
  EXPECT_EQ(failure(::open(at(notes).c_str(), O_RDONLY)), EIO);
  service().clearFaults();
  EXPECT_EQ(drive::test_support::readText(notes),
            "# Notes\n\n- call the printer\n- book the venue\n");
}

TEST_F(MountSemantics, AProgramMayGiveUpWaitingForTheService) {
  const auto listed = [this] {
    std::string output;
    pralodrive({"--json", "status"}, &output);
    return nlohmann::json::parse(output).value("foldersListed", -1);
  };
  const int before = listed();
  const auto slow = reference::Fault::delayed(std::chrono::seconds(3));
  // Ctrl-C reaches the program while its call waits: it ends then, not when the service
  // answers; a name looked up, a folder read and a file opened alike.
  service().injectFault("*/children", slow, 2, "GET");
  EXPECT_EQ(sh("timeout -s INT 0.5 stat 'Client Showcase/README.txt'"), 124);
  EXPECT_EQ(sh("timeout -s INT 0.5 ls 'Alex Morgan'"), 124);
  EXPECT_EQ(listed(), before);
  std::string documents;
  EXPECT_EQ(sh("ls 'Alex Morgan/Documents'", &documents), 0);
  EXPECT_THAT(documents, ::testing::HasSubstr("Notes.md"));
  EXPECT_EQ(listed(), before + 3);

  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  service().injectFault("*/content", slow, 1, "GET");
  EXPECT_EQ(sh("timeout -s INT 0.5 cat 'Alex Morgan/Documents/Notes.md'"), 124);
  EXPECT_EQ(xattr(notes, "user.pralodrive.state"), "cloud only");
  // The download went on, and the next open takes its result.
  EXPECT_EQ(drive::test_support::readText(notes),
            "# Notes\n\n- call the printer\n- book the venue\n");
  EXPECT_EQ(requestCount("GET", "*/content"), 1);

  // An action as well: keeping a file offline downloads it.
  const auto report = drive("Alex Morgan/Documents/Quarterly Report.pdf");
  service().injectFault("*/content", slow, 1, "GET");
  EXPECT_EQ(sh("timeout -s INT 0.5 python3 -c 'import os; os.setxattr(\"" + at(report) +
               "\", \"user.pralodrive.action\", b\"offline\")'"),
            124);
  EXPECT_EQ(xattr(report, "user.pralodrive.state"), "cloud only");
}

TEST_F(MountSemantics, ARenameTheServiceRefusedIsNoLongerFoundUnderTheNewName) {
  // The service takes names case-blind: it refuses this one, and the file gets its name back.
  const auto documents = drive("Alex Morgan/Documents");
  const auto clash = documents / "quarterly report.PDF";
  ASSERT_EQ(::rename(at(documents / "Notes.md").c_str(), at(clash).c_str()), 0);
  ASSERT_TRUE(syncWait());
  struct stat status {};
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (::stat(at(clash).c_str(), &status) == 0 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(failure(::stat(at(clash).c_str(), &status)), ENOENT);
  EXPECT_EQ(drive::test_support::readText(documents / "Notes.md").substr(0, 7), "# Notes");
}

TEST_F(MountSemantics, NamesAndDatesFollowLinux) {
  const auto documents = drive("Alex Morgan/Documents");
  const auto before = ::time(nullptr);
  struct stat status {};
  ASSERT_EQ(::stat(at(documents).c_str(), &status), 0);
  EXPECT_LT(status.st_mtime, before);
  const std::string longest(255, 'n');
  EXPECT_EQ(failure(::mkdir(at(documents / longest).c_str(), 0755)), 0);
  // A new entry dates its folder.
  ASSERT_EQ(::stat(at(documents).c_str(), &status), 0);
  EXPECT_GE(status.st_mtime, before);
  EXPECT_EQ(failure(::mkdir(at(documents / (longest + "n")).c_str(), 0755)), ENAMETOOLONG);
  EXPECT_EQ(failure(::open(at(documents / (longest + "n")).c_str(), O_CREAT | O_WRONLY, 0644)),
            ENAMETOOLONG);
  EXPECT_EQ(failure(::open(at(documents / "bad\xff").c_str(), O_CREAT | O_WRONLY, 0644)), EILSEQ);
  EXPECT_EQ(failure(::rename(at(documents / "Notes.md").c_str(), at(documents / "\xfe").c_str())),
            EILSEQ);
  // The drive shows names trimmed: " Notes.md" would show as, and hide, "Notes.md".
  EXPECT_EQ(failure(::open(at(documents / " Notes.md").c_str(), O_CREAT | O_WRONLY, 0644)), EINVAL);
  EXPECT_EQ(failure(::mkdir(at(documents / "Drafts\u3000").c_str(), 0755)), EINVAL);
  EXPECT_EQ(
      failure(::rename(at(documents / "Notes.md").c_str(), at(documents / "Notes.md\n").c_str())),
      EINVAL);

  // Far dates come back as set; a write afterwards dates the file anew, as on any disk.
  const auto notes = documents / "Notes.md";
  const timespec far[2] = {{0, UTIME_OMIT}, {std::int64_t{1} << 34, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at(notes).c_str(), far, 0), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, std::int64_t{1} << 34);
  // Setting a date is a status change of now.
  EXPECT_GE(status.st_ctime, before);
  EXPECT_LE(status.st_ctime, before + 60);
  // A date of today comes back to the microsecond, as touch and utimes(2) give it.
  const timespec precise[2] = {{0, UTIME_OMIT}, {1700000000, 987000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at(notes).c_str(), precise, 0), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_nsec, 987000000);
  // An access time set stays apart from the modification time, each left alone by the other.
  const timespec accessed[2] = {{1600000000, 500000000}, {0, UTIME_OMIT}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at(notes).c_str(), accessed, 0), 0);
  ASSERT_EQ(::utimensat(AT_FDCWD, at(notes).c_str(), precise, 0), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_EQ(status.st_atim.tv_sec, 1600000000);
  EXPECT_EQ(status.st_atim.tv_nsec, 500000000);
  EXPECT_EQ(status.st_mtim.tv_sec, 1700000000);
  ASSERT_EQ(::truncate(at(notes).c_str(), 2), 0);
  ASSERT_EQ(::stat(at(notes).c_str(), &status), 0);
  EXPECT_GE(status.st_mtime, before);
  EXPECT_LE(status.st_mtime, before + 60);
  // Linux empties a file opened read-only with O_TRUNC too.
  const int fd = ::open(at(notes).c_str(), O_RDONLY | O_TRUNC);
  ASSERT_GE(fd, 0);
  ::close(fd);
  EXPECT_EQ(std::filesystem::file_size(notes), 0u);
}

TEST_F(MountSemantics, AnUnlinkedFileStaysReadableWhileOpen) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const int fd = ::open(at(notes).c_str(), O_RDWR);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::unlink(at(notes).c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(notes));
  char buffer[8] = {};
  EXPECT_EQ(::pread(fd, buffer, 7, 0), 7);
  EXPECT_EQ(std::string(buffer), "# Notes");
  struct stat status {};
  EXPECT_EQ(::fstat(fd, &status), 0);
  EXPECT_EQ(::ftruncate(fd, 3), 0);
  EXPECT_EQ(::futimens(fd, nullptr), 0);
  EXPECT_EQ(::fstat(fd, &status), 0);
  EXPECT_EQ(status.st_size, 3);
  ::close(fd);
  ASSERT_TRUE(syncWait());
  EXPECT_FALSE(serviceId("Alex Morgan/Documents/Notes.md"));
}

TEST_F(MountSemantics, WhatAWriteOnlyHandleWritesIsReadBackAtOnce) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  // Read twice: the second open keeps the kernel's cached pages.
  ASSERT_EQ(drive::test_support::readText(notes).substr(0, 7), "# Notes");
  ASSERT_EQ(drive::test_support::readText(notes).substr(0, 7), "# Notes");
  const int writer = ::open(at(notes).c_str(), O_WRONLY);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(::pwrite(writer, "# Minute", 8, 0), 8);
  EXPECT_EQ(drive::test_support::readText(notes).substr(0, 8), "# Minute");
  ::close(writer);
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/Notes.md").value_or("").substr(0, 8), "# Minute");
}

TEST_F(MountSemantics, ManyFilesOpenAtOnceAreNotHeldBackByTheMountsOwnLimit) {
  ASSERT_EQ(unmount(), 0);
  rlimit inherited{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &inherited), 0);
  if (inherited.rlim_max < 512) GTEST_SKIP() << "the hard limit of open files is below 512";
  // A mount started with a low soft limit, as from a desktop session.
  rlimit low = inherited;
  low.rlim_cur = 128;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  mount();
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &inherited), 0);
  std::string output;
  EXPECT_EQ(sh("cd 'Alex Morgan/Documents' && mkdir many && python3 -c 'import os; "
               "[os.open(\"many/%d\" % i, os.O_CREAT | os.O_WRONLY) for i in range(300)]'",
               &output),
            0)
      << output;
}

TEST_F(MountSemantics, WhatIsEmptiedIsNotDownloadedFirst) {
  // Every download fails: emptying a file must not need one.
  service().injectFault("*/content", reference::Fault::dropped(), 1000, "GET");
  std::string output;
  EXPECT_EQ(sh("cd 'Alex Morgan/Documents' && printf new > Notes.md && "
               "python3 -c 'import os; os.truncate(\"Quarterly Report.pdf\", 0)'",
               &output),
            0)
      << output;
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/Notes.md"), "new");
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/Quarterly Report.pdf"), "");
  service().clearFaults();
}

TEST_F(MountSemantics, AFileOpenThroughTheOnlineActionKeepsWhatIsWrittenAfter) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  const int handle = ::open(at(notes).c_str(), O_RDWR);
  ASSERT_GE(handle, 0);
  const std::string online = "online";
  const int acted = ::setxattr(at(drive("Alex Morgan/Documents")).c_str(), "user.pralodrive.action",
                               online.data(), online.size(), 0);
  const auto written = ::pwrite(handle, "# Kept", 6, 0);
  ::close(handle);
  ASSERT_EQ(acted, 0);
  ASSERT_EQ(written, 6);
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/Notes.md").value_or("").substr(0, 6), "# Kept");
}

TEST_F(MountSemantics, ExtendedAttributesShowTheItemAndPerformActions) {
  const auto notes = drive("Alex Morgan/Documents/Notes.md");
  EXPECT_EQ(xattr(notes, "user.pralodrive.id"),
            "node:" + serviceId("Alex Morgan/Documents/Notes.md").value_or(""));
  EXPECT_EQ(xattr(notes, "user.pralodrive.state"), "cloud only");
  EXPECT_NE(xattr(notes, "user.pralodrive.weblink").find("/drive?node="), std::string::npos);
  EXPECT_EQ(
      failure(static_cast<int>(::getxattr(at(notes).c_str(), "security.selinux", nullptr, 0))),
      ENOTSUP);
  EXPECT_EQ(failure(static_cast<int>(::getxattr(at(notes).c_str(), "user.other", nullptr, 0))),
            ENODATA);
  // What a copy brings from elsewhere neither stops it nor changes what the item shows.
  std::string output;
  EXPECT_EQ(sh("cd 'Alex Morgan/Documents' && python3 -c 'import shutil; "
               "shutil.copy2(\"Notes.md\", \"Notes copy.md\")'",
               &output),
            0)
      << output;
  EXPECT_NE(xattr(notes.parent_path() / "Notes copy.md", "user.pralodrive.id"),
            xattr(notes, "user.pralodrive.id"));
  const std::string offline = "offline";
  const auto photos = drive("Alex Morgan/Photos");
  ASSERT_EQ(
      ::setxattr(at(photos).c_str(), "user.pralodrive.action", offline.data(), offline.size(), 0),
      0);
  EXPECT_EQ(xattr(photos / "Beach.jpg", "user.pralodrive.state"), "kept offline");
  const std::string bogus = "bogus";
  EXPECT_NE(::setxattr(at(photos).c_str(), "user.pralodrive.action", bogus.data(), bogus.size(), 0),
            0);
  // The provider acts only on what has reached the service; later the same action works.
  service().injectFault("/storage/nodes", reference::Fault::message(503, "Maintenance"), 1000,
                        "POST");
  const auto fresh = drive("Alex Morgan/Documents/fresh.txt");
  drive::test_support::writeText(fresh, "new");
  EXPECT_EQ(failure(::setxattr(at(fresh).c_str(), "user.pralodrive.action", offline.data(),
                               offline.size(), 0)),
            EBUSY);
  service().clearFaults();
  EXPECT_EQ(sh("df -k . | tail -1", &output), 0);
  EXPECT_NE(output.find("pralodrive"), std::string::npos) << output;
}

TEST_F(MountSemantics, ASecondMountIsRefusedAndADeadOneReplaced) {
  cli::test_support::PralodriveChild second({"mount", drive().string(), "--foreground"},
                                            childEnvironment(), root() / "second-stderr.txt");
  EXPECT_EQ(second.finish(), 1);
  EXPECT_NE(drive::test_support::readText(root() / "second-stderr.txt").find("already mounted at"),
            std::string::npos);
  killMount();
  struct stat status {};
  EXPECT_EQ(failure(::stat(at(drive()).c_str(), &status)), ENOTCONN);
  mount();
  EXPECT_TRUE(std::filesystem::exists(drive("Alex Morgan/Documents/Notes.md")));
}

}  // namespace
}  // namespace drive::mount::test_support
