// The files the companion app shares with the provider, read (and where the provider changes
// them, read-modified-written) as the provider does.

#include <array>
#include <functional>

#include "app_group/disk_state.h"
#include "app_group/listing_ack.h"
#include "app_group/policy_refresh.h"
#include "app_group/remote_items.h"
#include "app_group/remote_refresh.h"
#include "app_group/sync_activity.h"
#include "app_group/sync_selection.h"
#include "fuzz/fuzz_environment.h"
#include "fuzz/fuzz_input.h"
#include "model/node_kinds.h"
#include "platform/app_group_container.h"
#include "platform/atomic_file.h"
#include "platform/base64.h"
#include "session/session_store.h"

namespace drive::fuzz {
namespace {

struct SharedFile {
  const char* name;  // in the container
  std::function<void()> use;
  // The file's contents made from the input; none: the input itself.
  std::function<std::string(std::string_view)> contents = {};
};

// The input as the stored selection: it reaches the selection's decoder as it is, not
// through the suite's JSON and Base64 first.
std::string selectionSuite(std::string_view selection) {
  return nlohmann::json{{"drive.sync.selection.v1", {{"data", fp::Base64::encode(selection)}}}}
      .dump();
}

void useSyncSelection() {
  DriveSyncSelection::load();
  DriveSyncSelection::includesNamespace("ns");
  StorageNode folder;
  folder.id = "a";
  folder.kind = NodeKind::folder;
  StorageNode file;
  file.id = "b";
  file.kind = NodeKind::file;
  DriveSyncSelection::filterTopLevel({folder, file}, "ns");
}

void useDefaultsSuite() {
  DriveSyncSelection::load();
  DriveSyncSelection::includesNamespace("ns");
  DriveDiskState::legacyState();
  readDefaultsSession();
  fp::appGroupDefaults().stringArrayForKey("drive.enum.ids.root");
}

const std::array<SharedFile, 9> kFiles = {{
    {"drive-local-state.json",
     [] {
       DriveDiskState::current();
       DriveDiskState::update([](DriveDiskState::FileState& state) {
         return state.materialized.insert("fuzz").second;
       });
     }},
    {"drive-remote-refresh.json",
     [] {
       DriveRemoteRefresh::read();
       DriveRemoteRefresh::clearPending("root");
     }},
    {"drive-remote-items.json",
     [] {
       DriveRemoteItems::read();
       DriveRemoteItems::removePublished({"a"});
     }},
    {"drive-listing-ack.json",
     [] {
       DriveListingAck::read();
       DriveListingAck::acknowledge("root", 0, "");
     }},
    {"drive-policy-refresh.json", [] { policyRefreshList(); }},
    {"drive-sync-activity.json",
     [] {
       using DriveSyncActivity::Direction;
       DriveSyncActivity::begin("fuzz", "Fuzz", Direction::download);
       DriveSyncActivity::end("fuzz", "Fuzz", Direction::download, true);
     }},
    {"Library/Preferences/group.eu.vantrel.drive.json", useDefaultsSuite},
    {"session.json", [] { loadSession(); }},
    {"Library/Preferences/group.eu.vantrel.drive.json", useSyncSelection, selectionSuite},
}};

}  // namespace
}  // namespace drive::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  drive::fuzz::installScratchEnvironment();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace drive::fuzz;
  const auto input = FuzzInput::from(data, size);
  const auto& file = kFiles[input.choice % kFiles.size()];
  // Read afresh, as by a new process.
  drive::resetCachedSessionForTesting();
  drive::DriveDiskState::resetCacheForTesting();
  // A new file each time, as the companion app replaces them: caches keyed on the file's
  // identity see the change.
  // A failed write leaves the previous file, which is as good an input.
  (void)fp::writeFileAtomically(fp::appGroupContainerURL() / file.name,
                                file.contents ? file.contents(input.text) : std::string(input.text),
                                0600, fp::Durability::cached);
  file.use();
  return 0;
}
