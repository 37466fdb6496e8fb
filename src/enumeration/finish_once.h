#pragma once

#include <memory>
#include <mutex>

#include "platform/enumerator.h"
#include "platform/thread_annotations.h"

namespace drive {

// Wraps an observer so that an enumeration finishes exactly once: later finishes are
// dropped, and an enumeration that ends without one (a task that threw) finishes with an
// error when the last copy goes.
template <typename Observer>
class FinishOnce {
 public:
  explicit FinishOnce(std::shared_ptr<Observer> observer)
      : state_(std::make_shared<State>(std::move(observer))) {}

  Observer& operator*() const { return *state_->observer; }
  Observer* operator->() const { return state_->observer.get(); }

  // Runs `finish` on the observer unless the enumeration has already finished.
  template <typename Finish>
  void finish(Finish&& finish) const {
    fp::MutexLock lock(state_->mutex);
    if (state_->finished) return;
    state_->finished = true;
    finish(*state_->observer);
  }
  void fail(const fp::PlatformError& error) const {
    finish([&](Observer& observer) { observer.finishEnumeratingWithError(error); });
  }

 private:
  struct State {
    explicit State(std::shared_ptr<Observer> o) : observer(std::move(o)) {}
    ~State() {
      if (!finished) {
        observer->finishEnumeratingWithError(fp::PlatformError::withDescription(
            fp::NSCocoaErrorDomain, fp::CocoaErrorCode::fileReadUnknown,
            "The enumeration ended without a result."));
      }
    }
    std::shared_ptr<Observer> observer;
    fp::Mutex mutex;
    bool finished GUARDED_BY(mutex) = false;
  };
  std::shared_ptr<State> state_;
};

}  // namespace drive
