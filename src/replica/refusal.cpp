#include "replica/refusal.h"

namespace drive::replica {

Verdict verdictOf(const fp::PlatformError& error) {
  namespace code = fp::FileProviderErrorCode;
  if (error.domain() == fp::NSURLErrorDomain) return Verdict::transient;
  if (error.domain() == fp::NSFileProviderErrorDomain) {
    switch (error.code()) {
      case code::serverUnreachable:
      case code::notAuthenticated:
        return Verdict::transient;
      case code::excludedFromSync:
        return Verdict::excluded;
      case code::noSuchItem:
        return Verdict::gone;
      default:
        return Verdict::refused;
    }
  }
  if (error.domain() == fp::NSCocoaErrorDomain &&
      error.code() == fp::CocoaErrorCode::featureUnsupported) {
    return Verdict::excluded;  // how older systems say "excluded from sync"
  }
  return Verdict::refused;
}

}  // namespace drive::replica
