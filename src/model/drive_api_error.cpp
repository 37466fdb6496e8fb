#include "model/drive_api_error.h"

namespace drive {

namespace {

std::string describe(DriveAPIError::Case which, long status, const std::string& text) {
  switch (which) {
    case DriveAPIError::Case::http:
      return text.empty() ? "Server error (" + std::to_string(status) + ")" : text;
    case DriveAPIError::Case::message:
      return text;
    case DriveAPIError::Case::unauthorized:
      return "Sign in expired. Open Drive and sign in again.";
    case DriveAPIError::Case::decoding:
      return "Unexpected response from the server.";
  }
  return text;
}

}  // namespace

DriveAPIError::DriveAPIError(Case which, long status, std::string text)
    : case_(which),
      status_(status),
      text_(std::move(text)),
      description_(describe(which, status, text_)) {}

}  // namespace drive
