#include "model/map_to_platform_error.h"

#include "model/drive_api_error.h"
#include "model/drive_sync_error.h"
#include "platform/environment.h"

namespace drive {
namespace {

fp::PlatformError fromSyncError(const DriveSyncError& error) {
  if (error.which() == DriveSyncError::Case::skip) {
    if (fp::Environment::current()->platformVersion.isAtLeast(13, 3)) {
      return fp::PlatformError(fp::NSFileProviderErrorDomain,
                               fp::FileProviderErrorCode::excludedFromSync);
    }
    return fp::PlatformError(fp::NSCocoaErrorDomain, fp::CocoaErrorCode::featureUnsupported);
  }
  return fp::PlatformError::withDescription(fp::NSCocoaErrorDomain,
                                            fp::CocoaErrorCode::fileWriteNoPermission,
                                            error.localizedDescription());
}

fp::PlatformError fromAPIError(const DriveAPIError& error) {
  using Case = DriveAPIError::Case;
  if (error.which() == Case::http && error.status() == 404) {
    return fp::PlatformError(fp::NSFileProviderErrorDomain, fp::FileProviderErrorCode::noSuchItem);
  }
  if (error.which() == Case::http && (error.status() == 403 || error.status() == 409)) {
    return fp::PlatformError::withDescription(
        fp::NSCocoaErrorDomain, fp::CocoaErrorCode::fileWriteNoPermission, error.text());
  }
  if (error.which() == Case::unauthorized) {
    return fp::PlatformError(fp::NSFileProviderErrorDomain,
                             fp::FileProviderErrorCode::notAuthenticated);
  }
  return fp::PlatformError::withDescription(fp::NSFileProviderErrorDomain,
                                            fp::FileProviderErrorCode::serverUnreachable,
                                            error.localizedDescription());
}

}  // namespace

fp::PlatformError mapToPlatformError(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const DriveSyncError& syncError) {
    return fromSyncError(syncError);
  } catch (const DriveAPIError& apiError) {
    return fromAPIError(apiError);
  } catch (const fp::PlatformError& platformError) {
    return platformError;
  } catch (const std::exception& other) {
    return fp::PlatformError::withDescription(fp::NSCocoaErrorDomain,
                                              fp::CocoaErrorCode::fileReadUnknown, other.what());
  } catch (...) {
    return fp::PlatformError(fp::NSCocoaErrorDomain, fp::CocoaErrorCode::fileReadUnknown);
  }
}

std::string localizedDescriptionOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();  // every error of the provider answers its localized description here
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace drive
