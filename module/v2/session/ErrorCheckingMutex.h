#pragma once

#include <foundation/thread_annotations.h>

#include <mutex>
#include <pthread.h>
#include <system_error>

namespace login::spf::session {

/// A mutex for code that calls others while it holds the lock: a thread that comes back and asks for the lock
/// that it has gets an error, where a std::mutex would have it wait for itself for ever.
class CAPABILITY("mutex") ErrorCheckingMutex {
public:
    ErrorCheckingMutex() = default;
    ~ErrorCheckingMutex() { ::pthread_mutex_destroy(&mutex_); }
    ErrorCheckingMutex(const ErrorCheckingMutex&) = delete;
    ErrorCheckingMutex& operator=(const ErrorCheckingMutex&) = delete;

    /// @throws std::system_error, std::errc::resource_deadlock_would_occur when this thread has it already.
    void lock() ACQUIRE() {
        if (const int error = ::pthread_mutex_lock(&mutex_))
            throw std::system_error(error, std::generic_category(), "taking the lock");
    }
    void unlock() RELEASE() { ::pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_ = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
};

/// Holds the mutex while it lives.
class SCOPED_CAPABILITY ErrorCheckingLock {
public:
    explicit ErrorCheckingLock(ErrorCheckingMutex& mutex) ACQUIRE(mutex) : lock_(mutex) {}
    ~ErrorCheckingLock() RELEASE() {}
    ErrorCheckingLock(const ErrorCheckingLock&) = delete;
    ErrorCheckingLock& operator=(const ErrorCheckingLock&) = delete;

private:
    const std::lock_guard<ErrorCheckingMutex> lock_;
};

} // namespace login::spf::session
