#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/atomic_file.h"
#include "platform/thread_annotations.h"
#include "replica/replica.h"
#include "support/service_fixture.h"

namespace drive::replica::test_support {

// What the observers heard, as "added <key>", "changed <key>", "removed <key>".
class RecordingObserver : public ReplicaObserver {
 public:
  void itemAdded(ItemKey, ItemKey key) override { note("added", key); }
  void itemChanged(ItemKey, ItemKey, ItemKey key, bool) override { note("changed", key); }
  void itemRemoved(ItemKey, ItemKey key) override { note("removed", key); }
  std::vector<std::string> heard() const {
    fp::MutexLock lock(mutex_);
    return heard_;
  }

 private:
  void note(const std::string& what, ItemKey key) {
    fp::MutexLock lock(mutex_);
    heard_.push_back(what + " " + std::to_string(key));
  }
  mutable fp::Mutex mutex_;
  std::vector<std::string> heard_ GUARDED_BY(mutex_);
};

// A replica of the demo drive, in this test's own state and cache directories.
class ReplicaTest : public drive::test_support::ServiceTest {
 protected:
  void TearDown() override {
    replica_.reset();
    ServiceTest::TearDown();
  }

  ReplicaOptions options() {
    ReplicaOptions options;
    options.stateDirectory = root() / "state" / "pralodrive";
    options.cacheDirectory = root() / "cache" / "pralodrive";
    options.signalDirectory = container();
    options.pollInterval = std::chrono::hours(1);
    options.firstRetry = std::chrono::milliseconds(20);
    options.maxBackoff = std::chrono::milliseconds(200);
    options.storeLimit = storeLimit_;
    return options;
  }
  Replica& replica(bool started = true) {
    if (!replica_) {
      replica_ = std::make_unique<Replica>(extension(), options());
      if (started) replica_->start();
    }
    return *replica_;
  }
  void restart() { replica_.reset(); }

  ItemInfo at(const std::string& path) {
    auto found = replica().itemAtPath(path);
    if (!found) {
      ADD_FAILURE() << "nothing at " << path;
      return {};
    }
    return *found;
  }
  std::string text(ItemKey key) { return fp::readWholeFile(replica().contents(key)).value_or(""); }
  void write(ItemKey key, const std::string& bytes) {
    ASSERT_TRUE(fp::writeFileAtomically(replica().writableCopy(key), bytes));
    replica().contentsChanged(key);
  }
  void drain() { ASSERT_TRUE(replica().waitUntilIdle(std::chrono::seconds(30))); }
  // Polls until `done` holds, asking the replica to sync now and then unless `nudge` is off;
  // false after 20 s.
  bool eventually(const std::function<bool()>& done, bool nudge = true) {
    for (int round = 0; round < 400; ++round) {
      if (done()) return true;
      if (nudge && round % 20 == 0) replica().syncNow();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return done();
  }

  std::uint64_t storeLimit_ = kDefaultStoreLimit;

 private:
  std::unique_ptr<Replica> replica_;
};

}  // namespace drive::replica::test_support
