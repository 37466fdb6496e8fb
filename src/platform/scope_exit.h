#pragma once

#include <utility>

namespace fp {

// Runs `action` when the scope ends, however it ends: for clean-ups that no type owns.
template <typename Action>
class [[nodiscard]] ScopeExit {
 public:
  explicit ScopeExit(Action action) : action_(std::move(action)) {}
  ~ScopeExit() {
    if (active_) action_();
  }
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;
  // The clean-up is no longer needed (the work it undoes succeeded).
  void release() { active_ = false; }

 private:
  Action action_;
  bool active_ = true;
};

}  // namespace fp
