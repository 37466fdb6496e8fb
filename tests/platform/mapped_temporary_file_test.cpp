#include "platform/mapped_temporary_file.h"

#include <gtest/gtest.h>

#include <system_error>

#include "platform/atomic_file.h"
#include "support/test_environment.h"

namespace drive {
namespace {

using MappedTemporaryFileTest = test_support::DriveTest;

std::size_t entries(const std::filesystem::path& directory) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(directory), {}));
}

// Odd-sized pieces past several doublings of the mapping, as an answer without a length.
TEST_F(MappedTemporaryFileTest, GrowsWithoutALengthAndDeliversTheExactBytes) {
  std::string bytes(20 * 1024 * 1024 + 4321, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 7919 % 251);
  std::filesystem::create_directories(root() / "downloads");
  const auto target = root() / "downloads" / "content.bin";
  {
    fp::MappedTemporaryFile file(target, 0600);
    file.begin(std::nullopt);
    for (std::size_t at = 0; at < bytes.size(); at += 100003)
      file.append(std::string_view(bytes).substr(at, 100003));
    EXPECT_FALSE(std::filesystem::exists(target));  // nothing shows before it is whole
    file.commit();
  }
  EXPECT_EQ(fp::readWholeFile(target), bytes);
  EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(entries(root() / "downloads"), 1u);
}

TEST_F(MappedTemporaryFileTest, ShorterThanAnnouncedOrEmptyIsCutToWhatArrived) {
  fp::MappedTemporaryFile file(root() / "short.bin", 0644);
  file.begin(1024 * 1024);
  file.append("abc");
  file.commit();
  EXPECT_EQ(fp::readWholeFile(root() / "short.bin"), "abc");

  fp::MappedTemporaryFile empty(root() / "empty.bin", 0644);
  empty.begin(0);
  empty.commit();
  EXPECT_EQ(fp::readWholeFile(root() / "empty.bin"), "");
}

TEST_F(MappedTemporaryFileTest, AnAbandonedOrImpossibleFileLeavesNothing) {
  const auto directory = root() / "downloads";
  std::filesystem::create_directories(directory);
  {
    fp::MappedTemporaryFile file(directory / "partial.bin", 0600);
    file.begin(std::nullopt);
    file.append("half of it");
    EXPECT_EQ(entries(directory), 1u);
  }
  EXPECT_EQ(entries(directory), 0u);
  {
    // More than any disk holds: refused up front instead of a SIGBUS when the hole is written.
    fp::MappedTemporaryFile file(directory / "huge.bin", 0600);
    EXPECT_THROW(file.begin(std::uint64_t{1} << 60), std::system_error);
  }
  EXPECT_EQ(entries(directory), 0u);
  EXPECT_THROW(fp::MappedTemporaryFile(root() / "missing" / "x.bin", 0600), std::system_error);
}

}  // namespace
}  // namespace drive
