#include <gtest/gtest.h>

#include "api/drive_api.h"
#include "app_group/remote_refresh.h"
#include "model/drive_api_error.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using reference::Fault;

// A download as the service sent it.
struct CollectedContent : fp::ResponseBodySink {
  std::string bytes;
  void begin(std::optional<std::uint64_t>) override { bytes.clear(); }
  void append(std::string_view more) override { bytes += more; }
};

class StorageOperationsTest : public test_support::ServiceTest {
 protected:
  DriveAPI& api() { return DriveAPI::shared(); }
  std::string download(const std::string& id) {
    CollectedContent content;
    api().downloadContent(id, content);
    return content.bytes;
  }
  int listings() { return requestCount("GET", "/storage/listing"); }
};

TEST_F(StorageOperationsTest, TheListingIsCachedForThirtySecondsPerGeneration) {
  api().listing(false);
  clock().advance(std::chrono::seconds(10));
  api().namespaceWithId("x", false);
  api().isPersonalNamespace("x");
  EXPECT_EQ(listings(), 1);
  clock().advance(std::chrono::seconds(20));  // 30 s old: stale
  api().listing(false);
  EXPECT_EQ(listings(), 2);

  DriveRemoteRefresh::write({5, {}});
  clock().advance(std::chrono::seconds(1));
  api().listing(false);
  EXPECT_EQ(listings(), 3);
  std::filesystem::remove(container() / "drive-remote-refresh.json");  // generation 0 again
  api().listing(false);
  EXPECT_EQ(listings(), 4);

  // A failed forced fetch leaves the cached listing for later calls.
  service().injectFault("/storage/listing", Fault::answer(500, ""));
  EXPECT_THROW(api().listing(true), DriveAPIError);
  api().listing(false);
  EXPECT_EQ(listings(), 5);

  // A change drops it.
  api().renameNode(idOf("Alex Morgan/Photos"), "Pictures");
  api().listing(false);
  EXPECT_EQ(listings(), 6);
}

TEST_F(StorageOperationsTest, ContentChildrenAndNameLookups) {
  const auto documents = idOf("Alex Morgan/Documents");
  EXPECT_EQ(download(idOf("Alex Morgan/Documents/Notes.md")),
            "# Notes\n\n- call the printer\n- book the venue\n");
  service().injectFault("*/content", Fault::message(404, "No content"));
  EXPECT_EQ(download(idOf("Alex Morgan/Documents/Notes.md")), "");
  service().injectFault("*/content", Fault::message(403, "Forbidden"));
  EXPECT_THROW(download(idOf("Alex Morgan/Documents/Notes.md")), DriveAPIError);

  // Trimmed, case-insensitive, first in service order.
  EXPECT_EQ(api().childNamed(documents, "  NOTES.MD \n")->name, "Notes.md");
  EXPECT_FALSE(api().childNamed(documents, "Missing.txt"));
  EXPECT_TRUE(api().isPersonalNamespace(api().node(documents).namespaceId));
  const auto studio = service().tree().nodeAt("Studio Team")->namespaceId;
  EXPECT_FALSE(api().isPersonalNamespace(studio));
  EXPECT_FALSE(api().isPersonalNamespace("unknown"));
}

TEST_F(StorageOperationsTest, CreateMoveUploadAndDelete) {
  const auto documents = idOf("Alex Morgan/Documents");
  const auto created = api().createNode(documents, "Plan.txt", "file");
  const auto photos = idOf("Alex Morgan/Photos");
  EXPECT_EQ(api().moveNode(created.id, photos).parentId, photos);
  const auto uploaded = api().uploadContent(created.id, std::nullopt, std::string("hello"));
  EXPECT_EQ(uploaded.byteSize, 5);
  EXPECT_EQ(uploaded.contentHash,
            "2cf24dba5fb0a30e26e83b2ac5b9e29e1b161e5c1fa7425e73043362938b9824");
  api().deleteNode(created.id);
  EXPECT_TRUE(service().tree().node(created.id).trashedAt);
  const auto upload = service().requests().at(2);
  EXPECT_EQ(upload.method, "PUT");
  EXPECT_EQ(upload.header("Content-Type"), "application/octet-stream");
}

}  // namespace
}  // namespace drive
