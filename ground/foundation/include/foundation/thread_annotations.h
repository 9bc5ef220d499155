#pragma once

// Lock annotations that clang checks with -Wthread-safety and other compilers ignore, and the annotated mutex
// that goes with them.

#include <mutex>

#if defined(__clang__)
#define FOUNDATION_TSA(x) __attribute__((x))
#else
#define FOUNDATION_TSA(x)
#endif

#define CAPABILITY(x) FOUNDATION_TSA(capability(x))
#define SCOPED_CAPABILITY FOUNDATION_TSA(scoped_lockable)
#define GUARDED_BY(x) FOUNDATION_TSA(guarded_by(x))
#define PT_GUARDED_BY(x) FOUNDATION_TSA(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) FOUNDATION_TSA(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) FOUNDATION_TSA(acquired_after(__VA_ARGS__))
#define REQUIRES(...) FOUNDATION_TSA(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) FOUNDATION_TSA(requires_shared_capability(__VA_ARGS__))
#define ACQUIRE(...) FOUNDATION_TSA(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) FOUNDATION_TSA(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) FOUNDATION_TSA(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) FOUNDATION_TSA(release_shared_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) FOUNDATION_TSA(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) FOUNDATION_TSA(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) FOUNDATION_TSA(assert_capability(x))
#define ASSERT_SHARED_CAPABILITY(x) FOUNDATION_TSA(assert_shared_capability(x))
#define RETURN_CAPABILITY(x) FOUNDATION_TSA(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS FOUNDATION_TSA(no_thread_safety_analysis)

namespace foundation {

/// std::mutex as a capability.
class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    std::mutex mutex_;
};

/// Scoped lock on a Mutex. It can be released and taken again, so a std::condition_variable_any can wait with
/// it; the analysis treats the lock as held across such a wait.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex) {}
    ~MutexLock() RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() ACQUIRE() { lock_.lock(); }
    void unlock() RELEASE() { lock_.unlock(); }

private:
    std::unique_lock<Mutex> lock_;
};

} // namespace foundation
