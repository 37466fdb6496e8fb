#include "platform/keychain.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "platform/environment.h"
#include "support/child_process.h"
#include "support/test_environment.h"

namespace drive {
namespace {

using KeychainTest = test_support::DriveTest;

fp::KeychainQuery sessionItem(std::optional<std::string> group = "group.eu.vantrel.drive") {
  return {"eu.vantrel.drive.session", "default", std::move(group), true};
}

TEST_F(KeychainTest, ItemsAreAddedOnceReadBackAndDeletedByTheirFullAddress) {
  std::string data;
  EXPECT_EQ(fp::SecItemCopyMatching(sessionItem(), data), fp::errSecItemNotFound);
  EXPECT_EQ(fp::SecItemDelete(sessionItem()), fp::errSecItemNotFound);

  const std::string secret("{\"token\":\"t\"}\0binary", 19);
  ASSERT_EQ(fp::SecItemAdd(sessionItem(), secret), fp::errSecSuccess);
  EXPECT_EQ(fp::SecItemAdd(sessionItem(), "other"), fp::errSecDuplicateItem);
  ASSERT_EQ(fp::SecItemCopyMatching(sessionItem(), data), fp::errSecSuccess);
  EXPECT_EQ(data, secret);

  // Another access group or the legacy keychain is another item.
  EXPECT_EQ(fp::SecItemCopyMatching(sessionItem(std::nullopt), data), fp::errSecItemNotFound);
  auto legacy = sessionItem();
  legacy.dataProtection = false;
  EXPECT_EQ(fp::SecItemCopyMatching(legacy, data), fp::errSecItemNotFound);

  const auto directory = fp::Environment::current()->dataHome / "pralodrive" / "keychain";
  struct stat info {};
  ASSERT_EQ(::stat(directory.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  const auto file = directory / "eu.vantrel.drive.session@default@group.eu.vantrel.drive@dp";
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  EXPECT_EQ(fp::SecItemDelete(sessionItem()), fp::errSecSuccess);
  EXPECT_EQ(fp::SecItemCopyMatching(sessionItem(), data), fp::errSecItemNotFound);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 0);
}

// Exit status of a child that adds the item: 0 added, 1 duplicate, 2 anything else.
int addInChild(const std::string& data) {
  const auto status = fp::SecItemAdd(sessionItem(), data);
  return status == fp::errSecSuccess ? 0 : status == fp::errSecDuplicateItem ? 1 : 2;
}

// Two processes adding the same item at once: one adds it whole, the other hears "duplicate".
TEST_F(KeychainTest, ConcurrentAddsOfOneItemLeaveOneWholeValue) {
  const std::string first(256 * 1024, 'a');
  const std::string second(256 * 1024, 'b');
  for (int round = 0; round < 20; ++round) {
    test_support::ChildProcess a([&] { return addInChild(first); });
    test_support::ChildProcess b([&] { return addInChild(second); });
    const int statuses[] = {a.wait(), b.wait()};
    EXPECT_EQ(std::min(statuses[0], statuses[1]), 0) << "round " << round;
    EXPECT_EQ(std::max(statuses[0], statuses[1]), 1) << "round " << round;
    std::string data;
    ASSERT_EQ(fp::SecItemCopyMatching(sessionItem(), data), fp::errSecSuccess);
    EXPECT_TRUE(data == first || data == second) << "round " << round << ": mixed value";
    ASSERT_EQ(fp::SecItemDelete(sessionItem()), fp::errSecSuccess);
  }
}

}  // namespace
}  // namespace drive
