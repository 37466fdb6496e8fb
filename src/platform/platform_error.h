#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace fp {

inline constexpr std::string_view NSFileProviderErrorDomain = "NSFileProviderErrorDomain";
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

// Codes of NSFileProviderErrorDomain used by the provider.
namespace FileProviderErrorCode {
inline constexpr long notAuthenticated = -1000;
inline constexpr long syncAnchorExpired = -1002;
inline constexpr long serverUnreachable = -1004;
inline constexpr long noSuchItem = -1005;
inline constexpr long excludedFromSync = -2010;
}  // namespace FileProviderErrorCode

// Codes of NSCocoaErrorDomain used by the provider.
namespace CocoaErrorCode {
inline constexpr long fileReadUnknown = 256;
inline constexpr long fileWriteNoPermission = 513;
inline constexpr long featureUnsupported = 3328;
}  // namespace CocoaErrorCode

// Codes of NSURLErrorDomain for transport failures.
namespace URLErrorCode {
inline constexpr long badURL = -1000;
inline constexpr long timedOut = -1001;
inline constexpr long cannotFindHost = -1003;
inline constexpr long cannotConnectToHost = -1004;
inline constexpr long networkConnectionLost = -1005;
inline constexpr long httpTooManyRedirects = -1007;
inline constexpr long badServerResponse = -1011;
inline constexpr long cannotDecodeContentData = -1016;
inline constexpr long secureConnectionFailed = -1200;
}  // namespace URLErrorCode

using UserInfo = std::map<std::string, std::string>;

// An error already in the platform's form (an NSError).
class PlatformError : public std::exception {
 public:
  PlatformError(std::string_view domain, long code, UserInfo userInfo = {});

  // Convenience for the common case of an error that carries its own text.
  static PlatformError withDescription(std::string_view domain, long code,
                                       const std::string& description);

  const std::string& domain() const { return domain_; }
  long code() const { return code_; }
  const UserInfo& userInfo() const { return userInfo_; }

  // The description the user sees; the platform's generic text when none was given.
  const std::string& localizedDescription() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

  bool operator==(const PlatformError& other) const;

 private:
  std::string domain_;
  long code_;
  UserInfo userInfo_;
  std::string description_;
};

}  // namespace fp
