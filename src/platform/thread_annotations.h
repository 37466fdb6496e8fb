#pragma once

#include <condition_variable>
#include <mutex>

// Clang's thread-safety analysis (-Wthread-safety) checks these; other compilers ignore them.
#if defined(__clang__)
#define DRIVE_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define DRIVE_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) DRIVE_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY DRIVE_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) DRIVE_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) DRIVE_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define REQUIRES(...) DRIVE_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) DRIVE_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) DRIVE_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) DRIVE_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(x) DRIVE_THREAD_ATTRIBUTE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS DRIVE_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace fp {

// std::mutex as a capability the analysis knows (the standard library's is not annotated).
class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  std::mutex& native() { return mutex_; }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for its scope; waits on a condition variable with it held.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.native()) {}
  ~MutexLock() RELEASE() {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  // For a scope that lets go in the middle (to run work outside the lock).
  void unlock() RELEASE() { lock_.unlock(); }
  void lock() ACQUIRE() { lock_.lock(); }

  // The predicate runs with the mutex held: give its lambda REQUIRES(mutex).
  template <typename Predicate>
  void wait(std::condition_variable& condition, Predicate ready) {
    condition.wait(lock_, ready);
  }
  template <typename Deadline>
  std::cv_status waitUntil(std::condition_variable& condition, const Deadline& deadline) {
    return condition.wait_until(lock_, deadline);
  }
  template <typename Deadline, typename Predicate>
  bool waitUntil(std::condition_variable& condition, const Deadline& deadline, Predicate ready) {
    return condition.wait_until(lock_, deadline, ready);
  }
  template <typename Duration, typename Predicate>
  bool waitFor(std::condition_variable& condition, const Duration& timeout, Predicate ready) {
    return condition.wait_for(lock_, timeout, ready);
  }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace fp
