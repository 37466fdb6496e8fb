#pragma once

namespace drive {

// The process-wide state this extension keeps: the cached session, the listing cache, the
// disk-state cache and the enumeration bookkeeping. Forgetting it all puts the process back
// where it was at launch; tests do this before every case.
void resetProcessStateForTesting();

}  // namespace drive
