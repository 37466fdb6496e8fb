#include "model/drive_sync_error.h"

namespace drive {

const std::string& DriveSyncError::localizedDescription() const {
  static const std::string unsupportedText = "This item can\u2019t be changed from Finder.";
  static const std::string notWritableText = "This folder is read only.";
  static const std::string cloudOnlyText = "PRALO documents stay in the cloud. Open them in PRALO.";
  static const std::string skipText = "This file is not synced.";
  switch (case_) {
    case Case::unsupported:
      return unsupportedText;
    case Case::notWritable:
      return notWritableText;
    case Case::cloudOnly:
      return cloudOnlyText;
    case Case::skip:
      return skipText;
  }
  return unsupportedText;
}

}  // namespace drive
