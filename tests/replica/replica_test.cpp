#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "reference/store/tree_builder.h"
#include "replica/replica_fixture.h"

namespace drive::replica {
namespace {

using reference::Fault;
using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class ReplicaSync : public test_support::ReplicaTest {
 protected:
  std::vector<std::string> serviceNames(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& node : service().tree().children(idOf(path))) {
      if (!node.trashedAt) names.push_back(node.name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  int creates() { return requestCount("POST", "/storage/nodes"); }
};

TEST_F(ReplicaSync, RemoteChangesReachTheReplicaAndItsObservers) {
  auto observer = std::make_shared<test_support::RecordingObserver>();
  replica().addObserver(observer);
  const auto documents = at("Alex Morgan/Documents");
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  const auto drafts = at("Alex Morgan/Documents/Drafts");
  replica().children(drafts.key);
  EXPECT_EQ(text(notes.key), "# Notes\n\n- call the printer\n- book the venue\n");
  const auto setHere = fp::Date(std::chrono::seconds(1000000000));
  replica().setModified(notes.key, 1000000000);
  EXPECT_EQ(replica().item(notes.key)->modified, setHere);

  auto& tree = service().tree();
  tree.rename(idOf("Alex Morgan/Documents/Notes.md"), "Minutes.md");
  tree.writeContent(idOf("Alex Morgan/Documents/Minutes.md"), "new minutes");
  tree.addFile(idOf("Alex Morgan/Documents"), "Agenda.txt", "1. coffee");
  tree.remove(idOf("Alex Morgan/Documents/Quarterly Report.pdf"));
  tree.move(idOf("Alex Morgan/Documents/Drafts/Outline.docx"), idOf("Alex Morgan/Documents"));

  ASSERT_TRUE(eventually([&] {
    return replica().child(documents.key, "Agenda.txt") &&
           !replica().child(documents.key, "Quarterly Report.pdf") &&
           replica().child(documents.key, "Outline.docx");
  }));
  const auto renamed = replica().child(documents.key, "Minutes.md");
  ASSERT_TRUE(renamed);
  EXPECT_EQ(renamed->key, notes.key) << "a rename keeps the key";
  EXPECT_FALSE(renamed->downloaded) << "new contents make the copy stale";
  EXPECT_NE(renamed->modified, setHere) << "and bring their own date";
  EXPECT_EQ(text(notes.key), "new minutes");
  EXPECT_TRUE(replica().children(drafts.key).empty());

  // A namespace comes to the drive through the companion, which watches the service.
  service().build([](reference::TreeBuilder& b) { b.addNamespace("workspace", "Night Shift"); });
  service().companionSignals().noteRemoteChange({}, {}, {});
  EXPECT_TRUE(eventually([&] { return replica().child(kRootKey, "Night Shift").has_value(); }));
  const auto heard = observer->heard();
  EXPECT_THAT(heard, Contains("changed " + std::to_string(notes.key)));
  EXPECT_THAT(heard, Contains(HasSubstr("removed ")));
  EXPECT_THAT(heard, Contains(HasSubstr("added ")));
}

TEST_F(ReplicaSync, AFirstListingIsHandedOverInBatchesAsItIsRecorded) {
  auto& tree = service().tree();
  const auto drafts = idOf("Alex Morgan/Documents/Drafts");
  for (int n = 0; n < 600; ++n)
    tree.addFile(drafts, "page " + std::to_string(n) + ".txt", std::string(n, 'x'));
  // Known before the folder is listed: it arrives with its old key, not as a new item.
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  tree.move(idOf("Alex Morgan/Documents/Notes.md"), drafts);
  const auto folder = at("Alex Morgan/Documents/Drafts").key;

  std::vector<std::size_t> batches;
  std::vector<ItemInfo> streamed;
  const auto sink = [&](std::vector<ItemInfo>& batch) {
    batches.push_back(batch.size());
    streamed.insert(streamed.end(), batch.begin(), batch.end());
  };
  replica().listing(folder, sink);
  EXPECT_GE(batches.size(), 3u);
  const auto shown = [](std::vector<ItemInfo> items) {
    std::vector<std::tuple<ItemKey, std::string, bool, std::int64_t, std::optional<fp::Date>,
                           std::optional<fp::Date>, fp::ItemCapabilities>>
        fields;
    for (const auto& i : items)
      fields.emplace_back(i.key, i.filename, i.isFolder, i.size, i.modified, i.created,
                          i.capabilities);
    std::sort(fields.begin(), fields.end());
    return fields;
  };
  const auto recorded = replica().listing(folder);
  EXPECT_EQ(recorded.size(), 602u);
  EXPECT_EQ(shown(streamed), shown(recorded));
  EXPECT_TRUE(std::any_of(recorded.begin(), recorded.end(),
                          [&](const ItemInfo& i) { return i.key == notes.key; }));

  // Listed already: the database's listing, in one batch.
  batches.clear();
  streamed.clear();
  replica().listing(folder, sink);
  EXPECT_EQ(batches, std::vector<std::size_t>{602});
  EXPECT_EQ(shown(streamed), shown(recorded));
}

TEST_F(ReplicaSync, AKeyIsNeverGivenTwiceEvenAfterARestart) {
  // Not started: what is made and removed here never reaches the service.
  replica(false);
  const auto documents = at("Alex Morgan/Documents").key;
  const auto made = replica().createFile(documents, "Scratch.txt");
  replica().remove(made.key);
  restart();
  const auto next = replica(false).createFile(documents, "Scratch.txt");
  EXPECT_GT(next.key, made.key) << "the kernel may still know the first key as an inode";
}

TEST_F(ReplicaSync, AFileDeletedAndMadeAgainKeepsItsName) {
  const auto documents = at("Alex Morgan/Documents").key;
  const auto first = replica().createFile(documents, "Again.txt");
  write(first.key, "one");
  drain();
  // The service keeps the deleted file in its trash, under that name.
  replica().remove(first.key);
  drain();
  const auto second = replica().createFile(documents, "Again.txt");
  write(second.key, "two");
  drain();
  EXPECT_EQ(replica().item(second.key)->filename, "Again.txt");
  EXPECT_THAT(serviceNames("Alex Morgan/Documents"), Contains("Again.txt"));
  EXPECT_THAT(serviceNames("Alex Morgan/Documents"), ::testing::Not(Contains("Again 2.txt")));
  for (const auto& node : service().tree().children(idOf("Alex Morgan/Documents"))) {
    if (node.name == "Again.txt" && !node.trashedAt) {
      EXPECT_EQ(service().tree().content(node.id), "two");
    }
  }
}

TEST_F(ReplicaSync, TheCompanionsSignalFilesAloneBringChangesIn) {
  const auto photos = at("Alex Morgan/Photos");
  replica().children(photos.key);
  service().tree().addFile(idOf("Alex Morgan/Photos"), "Sunset.jpg", "orange");
  // No poll for an hour and nobody asks: only the watched signal files can tell.
  ASSERT_TRUE(
      eventually([&] { return replica().child(photos.key, "Sunset.jpg").has_value(); }, false));
}

TEST_F(ReplicaSync, LocalChangesReachTheServiceInOrderAndCoalesced) {
  auto& local = replica(false);
  const auto home = at("Alex Morgan");
  const auto documents = at("Alex Morgan/Documents");
  const auto trips = local.createFolder(home.key, "Trips");
  for (int n = 0; n < 100; ++n) {
    const auto file = local.createFile(trips.key, "day " + std::to_string(n) + ".txt");
    write(file.key, "day " + std::to_string(n));
  }
  // Moved before its first upload: the children follow the folder's new identifier.
  local.rename(trips.key, documents.key, "Trips 2024");
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  for (int save = 0; save < 10; ++save)
    write(notes.key, "save " + std::to_string(save));
  local.rename(notes.key, documents.key, "Notes (final).md");
  const auto beach = at("Alex Morgan/Photos/Beach.jpg");
  local.remove(beach.key);
  EXPECT_EQ(local.status().queue.size(), 103u);
  service().clearRequests();

  local.start();
  drain();
  EXPECT_EQ(serviceNames("Alex Morgan/Documents/Trips 2024").size(), 100u);
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Trips 2024/day 42.txt")),
            "day 42");
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Notes (final).md")), "save 9");
  EXPECT_EQ(requestCount("PUT", "/storage/nodes/" + idOf("Alex Morgan/Documents/Notes (final).md") +
                                    "/content"),
            1);
  EXPECT_TRUE(service().tree().node(idOf("Alex Morgan/Photos/Beach.jpg")).trashedAt);
  const auto uploaded = local.item(trips.key);
  EXPECT_TRUE(uploaded->identifier.starts_with("node:"))
      << "the key stays, the id is the service's";
  EXPECT_EQ(uploaded->syncState(), SyncState::inStep);
}

TEST_F(ReplicaSync, TransientFailuresAreRetriedWithNothingDuplicated) {
  const auto documents = at("Alex Morgan/Documents");
  service().injectFault("/storage/nodes", Fault::message(503, "Maintenance"), 2, "POST");
  service().injectFault("/storage/nodes", Fault::dropped(), 1, "POST");
  service().injectFault("*/content", Fault::delayed(std::chrono::milliseconds(300)), 2, "PUT");
  for (const auto* name : {"a.txt", "b.txt", "c.txt"}) {
    write(replica().createFile(documents.key, name).key, name);
  }
  drain();
  const auto names = serviceNames("Alex Morgan/Documents");
  for (const auto* name : {"a.txt", "b.txt", "c.txt"})
    EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/b.txt")), "b.txt");
  EXPECT_TRUE(replica().status().held.empty());
}

// What editors do: write a new file, then rename it over the original. Here the new file's
// own upload is still running when the rename comes.
TEST_F(ReplicaSync, AFileSavedOverAnotherDuringItsUploadLeavesOnlyTheOriginal) {
  const auto documents = at("Alex Morgan/Documents");
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  replica().stop();
  const auto saved = replica().createFile(documents.key, ".Notes.md.swp");
  write(saved.key, "saved by rename");
  service().injectFault("/storage/nodes", Fault::delayed(std::chrono::milliseconds(400)), 1,
                        "POST");
  replica().start();
  ASSERT_TRUE(eventually(
      [&] { return replica().item(saved.key)->localState == LocalState::transferring; }, false));
  replica().replace(saved.key, notes.key);
  drain();
  replica().syncNow();
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Notes.md")), "saved by rename");
  EXPECT_THAT(serviceNames("Alex Morgan/Documents"), ::testing::Not(Contains(".Notes.md.swp")));
  EXPECT_FALSE(replica().child(documents.key, ".Notes.md.swp"));
  EXPECT_EQ(replica().child(documents.key, "Notes.md")->key, notes.key);
  EXPECT_EQ(text(notes.key), "saved by rename");
}

// Written again, in place as through an open handle, while its upload runs: the copy stays
// ahead of the service with its own size, and goes up once more; nothing becomes a conflict.
TEST_F(ReplicaSync, AFileWrittenDuringItsUploadStaysAheadAndGoesUpAgain) {
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  service().injectFault("*/content", Fault::delayed(std::chrono::milliseconds(400)), 1, "PUT");
  write(notes.key, "first");
  // The upload has reached the service, which holds its answer back.
  ASSERT_TRUE(eventually([&] { return service().pendingFaults() == 0; }, false));
  replica().beginWriting(notes.key);
  std::ofstream(replica().writableCopy(notes.key)) << "the second version";
  // Settled, with the writing still going on: its change waits, and the size is the copy's.
  ASSERT_TRUE(eventually(
      [&] { return replica().item(notes.key)->contentVersion != notes.contentVersion; }, false));
  EXPECT_EQ(replica().item(notes.key)->size, 18);
  EXPECT_EQ(replica().item(notes.key)->localState, LocalState::waiting);
  replica().contentsChanged(notes.key);
  replica().endWriting(notes.key);
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Notes.md")), "the second version");
  EXPECT_THAT(serviceNames("Alex Morgan/Documents"), Each(Not(HasSubstr("conflicted"))));
}

// The host ends (a crash, a kill) while a program still writes a file: what was written goes
// up at the next start.
TEST_F(ReplicaSync, AFileStillWrittenWhenTheHostEndsGoesUpAtTheNextStart) {
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  text(notes.key);
  replica().beginWriting(notes.key);
  std::ofstream(replica().writableCopy(notes.key)) << "written before the end";
  restart();
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Notes.md")),
            "written before the end");
}

// The service's copy changes while a program still writes the file: what it wrote is kept.
TEST_F(ReplicaSync, ARemoteEditDuringAWriteKeepsWhatWasWritten) {
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  const auto before = text(notes.key);
  const auto copy = replica().writableCopy(notes.key);
  replica().beginWriting(notes.key);
  std::ofstream(copy, std::ios::app) << " and more";
  service().tree().writeContent(idOf("Alex Morgan/Documents/Notes.md"), "written there");
  const auto version = replica().item(notes.key)->contentVersion;
  ASSERT_TRUE(eventually([&] { return replica().item(notes.key)->contentVersion != version; }));
  EXPECT_EQ(fp::readWholeFile(copy), before + " and more");
  replica().contentsChanged(notes.key);
  replica().endWriting(notes.key);
  drain();
  std::vector<std::string> contents;
  for (const auto& name : serviceNames("Alex Morgan/Documents")) {
    if (name.starts_with("Notes")) {
      contents.push_back(service().tree().content(idOf("Alex Morgan/Documents/" + name)));
    }
  }
  EXPECT_THAT(contents, UnorderedElementsAre("written there", before + " and more"));
}

// A program copying a large file in: nothing goes up while it writes, then the whole file once.
TEST_F(ReplicaSync, AFileGoesUpOnceItsWritingStops) {
  const auto documents = at("Alex Morgan/Documents");
  service().clearRequests();
  const auto copied = replica().createFile(documents.key, "Copied.bin", true);
  write(copied.key, "the first half");  // an fsync on the way
  EXPECT_FALSE(replica().waitUntilIdle(std::chrono::milliseconds(300)));
  EXPECT_EQ(requestCount("POST", "/storage/nodes"), 0);
  write(copied.key, "the whole file");
  replica().endWriting(copied.key);
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Copied.bin")), "the whole file");
  EXPECT_EQ(requestCount("PUT",
                         "/storage/nodes/" + idOf("Alex Morgan/Documents/Copied.bin") + "/content"),
            1);
}

TEST_F(ReplicaSync, RefusalsKeepWhatTheUserWrote) {
  const auto documents = at("Alex Morgan/Documents");
  const auto deliverables = at("Client Showcase/Deliverables");
  const auto invoice = at("Client Showcase/Deliverables/Invoice.pdf");

  const auto excluded = replica().createFile(documents.key, ".DS_Store");
  const auto refused = replica().createFile(deliverables.key, "Mine.txt");
  write(refused.key, "my words");
  write(invoice.key, "my edit of the invoice");
  replica().rename(at("Client Showcase/README.txt").key, at("Client Showcase").key, "READ.txt");
  const auto readme = at("Client Showcase/READ.txt");
  replica().remove(at("Client Showcase/Deliverables/Final Cut.mp4").key);
  drain();

  auto state = [&](ItemKey key) { return replica().item(key)->localState; };
  EXPECT_EQ(state(excluded.key), LocalState::localOnly);
  EXPECT_EQ(replica().item(excluded.key)->reason, "Excluded from sync.");
  EXPECT_EQ(state(refused.key), LocalState::localOnly);
  EXPECT_EQ(text(refused.key), "my words");
  const auto kept = replica().child(deliverables.key, "Invoice (not synced).pdf");
  ASSERT_TRUE(kept);
  EXPECT_EQ(text(kept->key), "my edit of the invoice");
  EXPECT_EQ(text(invoice.key), "%PDF-1.7\n% invoice\n%%EOF\n");
  EXPECT_EQ(replica().item(readme.key)->filename, "README.txt") << "a refused rename is undone";
  EXPECT_EQ(state(readme.key), LocalState::refused);
  EXPECT_TRUE(replica().child(deliverables.key, "Final Cut.mp4")) << "a refused delete comes back";
  EXPECT_GE(replica().status().held.size(), 4u);
}

TEST_F(ReplicaSync, AConflictKeepsBothVersions) {
  const auto documents = at("Alex Morgan/Documents");
  const auto notes = at("Alex Morgan/Documents/Notes.md");
  text(notes.key);
  replica().stop();
  write(notes.key, "written here");
  service().tree().writeContent(idOf("Alex Morgan/Documents/Notes.md"), "written there");
  replica().start();
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Notes.md")), "written there");
  std::string copy;
  for (const auto& name : serviceNames("Alex Morgan/Documents")) {
    if (name.starts_with("Notes (conflicted copy ")) copy = name;
  }
  ASSERT_FALSE(copy.empty());
  EXPECT_TRUE(copy.ends_with(").md"));
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/" + copy)), "written here");
  EXPECT_EQ(text(notes.key), "written there");
  EXPECT_TRUE(replica().child(documents.key, copy));
}

TEST_F(ReplicaSync, ARemoteDeleteOfALocalEditBringsTheEditBack) {
  const auto photos = at("Alex Morgan/Photos");
  const auto budget = at("Alex Morgan/Photos/budget.csv");
  replica().stop();
  write(budget.key, "item,amount\nall,1\n");
  service().tree().remove(idOf("Alex Morgan/Photos/budget.csv"));
  replica().start();
  drain();
  // The edit comes back as a new node under the same key, named as the provider decides (the
  // trashed node still holds the old name).
  const auto identifier = replica().item(budget.key)->identifier;
  ASSERT_TRUE(identifier.starts_with("node:"));
  const auto node = service().tree().node(identifier.substr(5));
  EXPECT_FALSE(node.trashedAt);
  EXPECT_EQ(service().tree().content(node.id), "item,amount\nall,1\n");
  const auto listed = replica().child(photos.key, node.name);
  ASSERT_TRUE(listed);
  EXPECT_EQ(listed->key, budget.key);
}

// Running, and the edit queued after the delete: it must not go up into the trashed node.
TEST_F(ReplicaSync, AnEditQueuedAfterARemoteDeleteGoesUpAsANewItem) {
  const auto budget = at("Alex Morgan/Photos/budget.csv");
  const auto trashed = idOf("Alex Morgan/Photos/budget.csv");
  text(budget.key);
  service().tree().remove(trashed);
  write(budget.key, "item,amount\nall,2\n");
  drain();
  const auto identifier = replica().item(budget.key)->identifier;
  ASSERT_NE(identifier, "node:" + trashed);
  EXPECT_EQ(service().tree().content(identifier.substr(5)), "item,amount\nall,2\n");
  EXPECT_EQ(service().tree().content(trashed), "item,amount\nflights,420\nhotel,610\n");
}

TEST_F(ReplicaSync, ARemoteDeleteOfAFolderKeepsTheEditsMadeInIt) {
  const auto drafts = at("Alex Morgan/Documents/Drafts");
  service().tree().addFile(idOf("Alex Morgan/Documents/Drafts"), "Plan.txt", "plan");
  const auto outline = at("Alex Morgan/Documents/Drafts/Outline.docx");
  const auto plan = at("Alex Morgan/Documents/Drafts/Plan.txt");
  replica().stop();
  write(outline.key, "my outline");
  service().tree().remove(idOf("Alex Morgan/Documents/Drafts"));
  replica().start();
  drain();
  const auto folder = replica().item(drafts.key);
  ASSERT_TRUE(folder);
  const auto edited = replica().item(outline.key);
  ASSERT_TRUE(edited);
  EXPECT_EQ(service().tree().content(edited->identifier.substr(5)), "my outline");
  EXPECT_EQ(service().tree().node(edited->identifier.substr(5)).parentId,
            folder->identifier.substr(5));
  EXPECT_FALSE(service().tree().node(folder->identifier.substr(5)).trashedAt);
  EXPECT_FALSE(replica().item(plan.key)) << "what was not edited here goes with the folder";
}

// A folder the service refused, with a file in it, moved to where the user may write.
TEST_F(ReplicaSync, ALocalOnlyFolderMovedIntoASyncedOneGoesUp) {
  const auto documents = at("Alex Morgan/Documents");
  const auto mine = replica().createFolder(at("Client Showcase/Deliverables").key, "Mine");
  const auto draft = replica().createFile(mine.key, "draft.txt");
  write(draft.key, "my draft");
  drain();
  ASSERT_EQ(replica().item(draft.key)->localState, LocalState::localOnly);
  replica().rename(mine.key, documents.key, "Mine");
  drain();
  EXPECT_EQ(service().tree().content(idOf("Alex Morgan/Documents/Mine/draft.txt")), "my draft");
  EXPECT_EQ(replica().item(mine.key)->localState, LocalState::inStep);
  EXPECT_EQ(replica().item(draft.key)->reason, "");
}

TEST_F(ReplicaSync, ContentsAreSharedKeptOfflineAndEvicted) {
  const auto photos = at("Alex Morgan/Photos");
  const auto beach = at("Alex Morgan/Photos/Beach.jpg");
  std::vector<std::thread> readers;
  for (int n = 0; n < 4; ++n)
    readers.emplace_back([&] { text(beach.key); });
  for (auto& reader : readers)
    reader.join();
  EXPECT_EQ(requestCount("GET", "*/content"), 1) << "concurrent demands share one fetch";
  EXPECT_THROW(replica().contents(photos.key), ReplicaError);

  replica().keepOffline(photos.key);
  EXPECT_TRUE(replica().item(beach.key)->keptOffline);
  EXPECT_TRUE(replica().item(at("Alex Morgan/Photos/budget.csv").key)->downloaded);
  EXPECT_EQ(replica().item(beach.key)->syncState(), SyncState::keptOffline);
  replica().makeOnline(photos.key);
  EXPECT_FALSE(replica().item(beach.key)->downloaded);
  EXPECT_GT(replica().usage().limit, 0u);
}

TEST_F(ReplicaSync, DownloadsArriveBesideTheStoreNotInTheProcesssTemporaryDirectory) {
  // A /tmp held in memory would cap what can be fetched and cost a copy of every file.
  configure([&](fp::Environment& environment) {
    environment.temporaryDirectory = root() / "no temporary directory here";
  });
  const auto arriving = options().cacheDirectory / "contents" / "arriving";
  std::filesystem::create_directories(arriving);
  std::string crashed;
  ::close(fp::createHeldTemporary(arriving / "drive-crashed.bin", crashed));
  const auto beach = at("Alex Morgan/Photos/Beach.jpg");
  EXPECT_EQ(text(beach.key), service().tree().content(idOf("Alex Morgan/Photos/Beach.jpg")));
  EXPECT_FALSE(std::filesystem::exists(crashed)) << "a download a crash cut off is cleared";
  EXPECT_TRUE(std::filesystem::is_empty(arriving));
}

TEST_F(ReplicaSync, TheStoreDropsTheLeastRecentlyUsedCleanCopies) {
  storeLimit_ = 100;
  const auto beach = at("Alex Morgan/Photos/Beach.jpg");    // 20 bytes
  const auto budget = at("Alex Morgan/Photos/budget.csv");  // 39 bytes
  const auto notes = at("Alex Morgan/Documents/Notes.md");  // 44 bytes
  replica().stop();  // the edit below stays queued, so its copy stays dirty
  write(beach.key, "sand, sea and a long evening");
  text(budget.key);
  text(notes.key);
  EXPECT_TRUE(replica().item(beach.key)->downloaded) << "local changes are never dropped";
  EXPECT_FALSE(replica().item(budget.key)->downloaded);
  EXPECT_TRUE(replica().item(notes.key)->downloaded);
  EXPECT_LE(replica().usage().used, 100u);
  EXPECT_EQ(text(beach.key), "sand, sea and a long evening");
  // A copy a program has open stays, the store going over its limit meanwhile.
  replica().holdCopy(notes.key);
  text(budget.key);
  EXPECT_TRUE(replica().item(notes.key)->downloaded);
  replica().releaseCopy(notes.key);
  auto asked = options();
  asked.storeLimit = kDefaultStoreLimit;
  EXPECT_EQ(readStatus(asked).store.limit, 100u) << "the limit in force, whoever asks";
}

}  // namespace
}  // namespace drive::replica
