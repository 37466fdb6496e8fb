#include "mount/directory_snapshot.h"

#include <gtest/gtest.h>

#include <thread>

namespace drive::mount {
namespace {

std::vector<std::string> namesFrom(DirectorySnapshot& snapshot, std::size_t first,
                                   std::size_t room = 100) {
  std::vector<std::string> names;
  snapshot.visit(first, [&](std::size_t, const char* name, const struct stat&) {
    if (names.size() == room) return false;
    names.push_back(name);
    return true;
  });
  return names;
}

TEST(DirectorySnapshot, AReaderWaitsForEntriesStillBeingListedAndSeesTheEnd) {
  DirectorySnapshot snapshot(7, 1);
  std::vector<std::string> first;
  std::thread reader([&] { first = namesFrom(snapshot, 0); });
  snapshot.add({{"a", {}}, {"b", {}}});
  reader.join();
  EXPECT_EQ(first, (std::vector<std::string>{"a", "b"}));

  // A reader past the listed entries waits for the next batch, or for the end.
  std::vector<std::string> later;
  std::thread waiting([&] { later = namesFrom(snapshot, 2); });
  snapshot.add({{"c", {}}});
  waiting.join();
  EXPECT_EQ(later, std::vector<std::string>{"c"});
  std::thread atTheEnd([&] { later = namesFrom(snapshot, 3); });
  snapshot.finish();
  atTheEnd.join();
  EXPECT_TRUE(later.empty());

  EXPECT_EQ(namesFrom(snapshot, 1, 1), std::vector<std::string>{"b"}) << "a full reader stops";
  EXPECT_EQ(snapshot.size(), 3u);
}

}  // namespace
}  // namespace drive::mount
