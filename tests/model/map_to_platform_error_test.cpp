#include "model/map_to_platform_error.h"

#include <gtest/gtest.h>

#include "model/drive_api_error.h"
#include "model/drive_sync_error.h"
#include "support/test_environment.h"

namespace drive {
namespace {

template <typename E>
fp::PlatformError mapped(const E& error) {
  return mapToPlatformError(std::make_exception_ptr(error));
}

std::string descriptionOf(const fp::PlatformError& error) {
  auto found = error.userInfo().find(std::string(fp::NSLocalizedDescriptionKey));
  return found == error.userInfo().end() ? "<none>" : found->second;
}

class MapToPlatformError : public test_support::DriveTest {
 protected:
  void onPlatform(int major, int minor) {
    configure([&](fp::Environment& e) { e.platformVersion = {major, minor, 0}; });
  }
};

TEST_F(MapToPlatformError, SkipDependsOnThePlatformVersion) {
  for (auto [major, minor] : {std::pair{13, 3}, {14, 0}, {26, 0}}) {
    onPlatform(major, minor);
    const auto error = mapped(DriveSyncError::skip());
    EXPECT_EQ(error, fp::PlatformError(fp::NSFileProviderErrorDomain, -2010)) << major;
  }
  for (auto [major, minor] : {std::pair{13, 2}, {12, 9}}) {
    onPlatform(major, minor);
    EXPECT_EQ(mapped(DriveSyncError::skip()), fp::PlatformError(fp::NSCocoaErrorDomain, 3328));
  }
}

TEST_F(MapToPlatformError, OtherSyncErrorsAreWriteNotPermittedWithTheirTexts) {
  const std::pair<DriveSyncError, std::string> cases[] = {
      {DriveSyncError::unsupported(), "This item can\u2019t be changed from Finder."},
      {DriveSyncError::notWritable(), "This folder is read only."},
      {DriveSyncError::cloudOnly(), "PRALO documents stay in the cloud. Open them in PRALO."},
  };
  for (const auto& [syncError, text] : cases) {
    const auto error = mapped(syncError);
    EXPECT_EQ(error.domain(), fp::NSCocoaErrorDomain);
    EXPECT_EQ(error.code(), 513);
    EXPECT_EQ(descriptionOf(error), text);
  }
  EXPECT_EQ(DriveSyncError::skip().localizedDescription(), "This file is not synced.");
}

TEST_F(MapToPlatformError, ServiceErrors) {
  EXPECT_EQ(mapped(DriveAPIError::http(404, "gone")),
            fp::PlatformError(fp::NSFileProviderErrorDomain, -1005));
  for (long status : {403L, 409L}) {
    const auto error = mapped(DriveAPIError::http(status, "Name already taken"));
    EXPECT_EQ(error.domain(), fp::NSCocoaErrorDomain);
    EXPECT_EQ(error.code(), 513);
    EXPECT_EQ(descriptionOf(error), "Name already taken");
  }
  EXPECT_EQ(mapped(DriveAPIError::unauthorized()),
            fp::PlatformError(fp::NSFileProviderErrorDomain, -1000));
  const std::pair<DriveAPIError, std::string> unreachable[] = {
      {DriveAPIError::http(500, ""), "Server error (500)"},
      {DriveAPIError::http(401, ""), "Server error (401)"},
      {DriveAPIError::message("Drive is not running."), "Drive is not running."},
      {DriveAPIError::decoding(), "Unexpected response from the server."},
  };
  for (const auto& [apiError, text] : unreachable) {
    const auto error = mapped(apiError);
    EXPECT_EQ(error.domain(), fp::NSFileProviderErrorDomain);
    EXPECT_EQ(error.code(), -1004);
    EXPECT_EQ(descriptionOf(error), text);
  }
}

TEST_F(MapToPlatformError, PlatformErrorsPassUnchangedAndOthersKeepTheirText) {
  const auto transport =
      fp::PlatformError::withDescription(fp::NSURLErrorDomain, -1001, "The request timed out.");
  EXPECT_EQ(mapped(transport), transport);
  const auto bare = fp::PlatformError(fp::NSFileProviderErrorDomain, -1005);
  EXPECT_EQ(mapped(bare).localizedDescription(),
            "The operation couldn\u2019t be completed. (NSFileProviderErrorDomain error -1005.)");
  EXPECT_EQ(mapped(std::runtime_error("disk full")).localizedDescription(), "disk full");
}

}  // namespace
}  // namespace drive
