#pragma once

#include <exception>
#include <string>

namespace drive {

// The refusal of a change, with the text the user sees.
class DriveSyncError : public std::exception {
 public:
  enum class Case { unsupported, notWritable, cloudOnly, skip };

  explicit DriveSyncError(Case which) : case_(which) {}
  static DriveSyncError unsupported() { return DriveSyncError(Case::unsupported); }
  static DriveSyncError notWritable() { return DriveSyncError(Case::notWritable); }
  static DriveSyncError cloudOnly() { return DriveSyncError(Case::cloudOnly); }
  static DriveSyncError skip() { return DriveSyncError(Case::skip); }

  Case which() const { return case_; }
  const std::string& localizedDescription() const;
  const char* what() const noexcept override { return localizedDescription().c_str(); }

 private:
  Case case_;
};

}  // namespace drive
