// A mutex whose use Clang checks ("Thread Safety Analysis" in Clang's documentation): a field says which lock guards
// it, a function which lock its caller must hold, and clang-tidy refuses code that does neither. Other compilers ignore
// it.
#pragma once

#include <mutex>

#ifdef __clang__
#define MOORLAK_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define MOORLAK_THREAD_SAFETY(attribute)
#endif

// On a field or a variable: only used while the lock is held.
#define GUARDED_BY(lock) MOORLAK_THREAD_SAFETY(guarded_by(lock))
// On a function: its caller holds the lock.
#define REQUIRES(lock) MOORLAK_THREAD_SAFETY(requires_capability(lock))

namespace moorlak {

// Its operations have the names that the standard library's guards call.
class MOORLAK_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  void lock() MOORLAK_THREAD_SAFETY(acquire_capability()) { mutex.lock(); }
  bool try_lock() MOORLAK_THREAD_SAFETY(try_acquire_capability(true)) { return mutex.try_lock(); }
  void unlock() MOORLAK_THREAD_SAFETY(release_capability()) { mutex.unlock(); }
  // For a function that its caller reaches through a table, where the analysis does not see the lock. Checks nothing.
  void AssumeHeld() const MOORLAK_THREAD_SAFETY(assert_capability(this)) {}

 private:
  std::mutex mutex;
};

struct AlreadyLocked {};
inline constexpr AlreadyLocked kAlreadyLocked;

// Holds the mutex for a scope.
class MOORLAK_THREAD_SAFETY(scoped_lockable) MutexGuard {
 public:
  explicit MutexGuard(Mutex& held) MOORLAK_THREAD_SAFETY(acquire_capability(held)) : mutex(held) { mutex.lock(); }
  // After a successful try_lock.
  MutexGuard(Mutex& held, AlreadyLocked /*taken*/) MOORLAK_THREAD_SAFETY(requires_capability(held)) : mutex(held) {}
  ~MutexGuard() MOORLAK_THREAD_SAFETY(release_capability()) { mutex.unlock(); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  Mutex& mutex;
};

}  // namespace moorlak
