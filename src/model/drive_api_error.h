#pragma once

#include <exception>
#include <string>

namespace drive {

// The error type of the service client, with the text the user sees.
class DriveAPIError : public std::exception {
 public:
  enum class Case { http, message, unauthorized, decoding };

  static DriveAPIError http(long status, std::string message) {
    return DriveAPIError(Case::http, status, std::move(message));
  }
  static DriveAPIError message(std::string text) {
    return DriveAPIError(Case::message, 0, std::move(text));
  }
  static DriveAPIError unauthorized() { return DriveAPIError(Case::unauthorized, 0, {}); }
  static DriveAPIError decoding() { return DriveAPIError(Case::decoding, 0, {}); }

  Case which() const { return case_; }
  // The HTTP status of the http case; 0 otherwise.
  long status() const { return status_; }
  // The server's message (http) or the text (message); empty otherwise.
  const std::string& text() const { return text_; }

  const std::string& errorDescription() const { return description_; }
  const std::string& localizedDescription() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  DriveAPIError(Case which, long status, std::string text);
  Case case_;
  long status_;
  std::string text_;
  std::string description_;
};

}  // namespace drive
