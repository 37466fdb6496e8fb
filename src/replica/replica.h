#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "extension/file_provider_extension.h"
#include "replica/item_info.h"
#include "replica/item_key.h"
#include "replica/replica_error.h"
#include "replica/replica_observer.h"
#include "replica/replica_options.h"
#include "replica/replica_status.h"

namespace drive::replica {

class SyncEngine;

// The platform's side of the drive: a database of the items the provider reported, a content
// store, and a queue of local changes carried to the provider. Every call is thread-safe.
// Queries answer from the database; only a folder's first listing and a missing download wait
// for the network. Changes answer at once and reach the service from the replica's thread.
// Failures throw ReplicaError.
class Replica {
 public:
  // Opens (or creates) the database and the store; nothing is sent yet.
  Replica(FileProviderExtension& extension, ReplicaOptions options);
  ~Replica();
  Replica(const Replica&) = delete;
  Replica& operator=(const Replica&) = delete;

  // Lists the root if it never was and starts the replica's thread: queue, polls, signals.
  void start();
  // Stops the thread; changes under way are finished or left queued.
  void stop();

  // --- Queries
  std::optional<ItemInfo> item(ItemKey key);
  std::optional<ItemInfo> child(ItemKey parent, const std::string& name);
  // The folder's children are known here: asking for them does not wait for the service.
  bool isListed(ItemKey folder);
  // A folder's children; the folder is listed (all pages) the first time it is asked for.
  std::vector<ItemInfo> children(ItemKey folder);
  // The same with only what a directory listing shows (key, parent, name, kind, size, dates,
  // capabilities), for folders of any size.
  std::vector<ItemInfo> listing(ItemKey folder);
  // The same in batches: a first listing hands its entries over while they are still being
  // recorded, so that they can be shown before the last is in. `sink` may run with the
  // replica's lock held: it must neither wait for anything nor call the replica.
  void listing(ItemKey folder, const ListingSink& sink);
  // "Alex Morgan/Trips/Plan.txt" from the root; none when some part is missing. Lists the
  // folders on the way as needed.
  std::optional<ItemInfo> itemAtPath(const std::string& path);
  std::string pathOf(ItemKey key);
  // The web app's page for an item (the folder holding a file).
  std::string webLink(ItemKey key);
  ReplicaStatus status();
  StoreUsage usage();

  // --- Contents
  // An up-to-date copy to read, fetched on demand; demands for one item share one fetch.
  // The file stays valid until the next change to the item. While a fetch runs, `abandoned`
  // is asked now and then whether the caller still waits; when it no longer does, the call
  // throws ReplicaError(interrupted) and the fetch goes on without it.
  std::filesystem::path contents(ItemKey key, const std::function<bool()>& abandoned = {});
  // A copy the caller may write and truncate (fetched first when the item has contents on
  // the service). Call contentsChanged after writing.
  std::filesystem::path writableCopy(ItemKey key, const std::function<bool()>& abandoned = {});
  // The copy a caller is about to empty and write (O_TRUNC): nothing is fetched, since nothing
  // of the old contents stays; an item without a copy gets an empty one. Empty it only after
  // beginWriting, so that a failure before leaves the copy as it was.
  std::filesystem::path copyToEmpty(ItemKey key);
  // Queues the writable copy's contents for upload; never waits for the network.
  void contentsChanged(ItemKey key);

  // --- Local changes; each is queued and answered at once.
  // With `writing`, the new file is being written from the start (see beginWriting), so that
  // nothing of it goes up before the matching endWriting.
  ItemInfo createFile(ItemKey parent, const std::string& name, bool writing = false);
  ItemInfo createFolder(ItemKey parent, const std::string& name);
  // Rename and/or move. Throws `exists` when the name is taken in the new folder.
  ItemInfo rename(ItemKey key, ItemKey newParent, const std::string& newName);
  // The contents of `source` become the contents of `target`, which keeps its identity;
  // `source` goes away. What an editor's save by rename does.
  ItemInfo replace(ItemKey source, ItemKey target);
  // A modification date set by a program (touch, rsync, cp -p), in seconds since the epoch.
  // Kept on this machine only, until the contents change on the service.
  void setModified(ItemKey key, double seconds);
  // The read-only bit a program set (chmod): writes are refused here until it is cleared.
  // Kept on this machine only; the provider's own refusal stays whatever this says.
  void setReadOnlyHere(ItemKey key, bool readOnly);
  // A folder must be empty.
  void remove(ItemKey key);
  // A program writes the item's copy from now until endWriting; its contents are not sent in
  // between. Calls pair up; the count goes with the contents to the target of a replace.
  void beginWriting(ItemKey key);
  void endWriting(ItemKey key);
  // A program has the item's copy open from now until releaseCopy: neither the store's limit
  // nor the online action drops it meanwhile. Calls pair up by item: a holder carried to
  // another item (the target of a replace) releases the one and holds the other.
  void holdCopy(ItemKey key);
  void releaseCopy(ItemKey key);

  // --- Actions
  // The provider's keep-offline action, then every file below kept downloaded.
  void keepOffline(ItemKey key);
  // The provider's online action; clean copies below are dropped.
  void makeOnline(ItemKey key);
  // Any other custom action by its identifier ("eu.vantrel.drive.action.openPralo", …).
  void performAction(ItemKey key, const std::string& action);

  // --- Keeping in step
  void addObserver(std::shared_ptr<ReplicaObserver> observer);
  void removeObserver(const std::shared_ptr<ReplicaObserver>& observer);
  // Brings the listed folders up to date and retries waiting changes now.
  void syncNow();
  // True when the queue emptied within the time (changes refused count as done).
  bool waitUntilIdle(std::chrono::milliseconds timeout);
  // One pass without the thread: listed folders brought up to date, the queue drained as far
  // as the service allows. For a host that runs the replica once.
  void runOnce();

 private:
  std::unique_ptr<SyncEngine> engine_;
};

// The status from the database alone, whether or not a replica is running.
ReplicaStatus readStatus(const ReplicaOptions& options);
// The number of queued changes, from the database alone: cheap enough to ask often.
std::int64_t readQueueLength(const ReplicaOptions& options);

}  // namespace drive::replica
