#pragma once

#include "hshd/BootClock.h"
#include "hshd/net/Http.h"

#include <foundation/thread_annotations.h>
#include <foundation/unique_fd.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace hshd::net {

/// The one thread on which the daemon talks to the web, and on which everything that deals with it runs: what
/// lives there needs no locks, and must not block. All functions may be called from any thread; what they are
/// given is called on the network thread, and destroyed uncalled when the thread ends first.
class NetworkThread {
public:
    /// @throws std::runtime_error when the system gives no thread or descriptors.
    NetworkThread();
    ~NetworkThread();
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    /// Ends the thread, and with it all that is under way. What it is given later is destroyed at once.
    /// Idempotent; from one thread, not the network thread itself.
    void stop();

    void post(std::function<void()> work);
    /// Sleep of the machine counts.
    void after(BootClock::duration delay, std::function<void()> work);
    void send(HttpRequest request, HttpDone done);
    /// Reads to the end, or to the end of `most` bytes.
    void readAll(foundation::UniqueFd file, std::size_t most, std::function<void(std::string)> done);

private:
    class Transfer;
    struct Reading {
        foundation::UniqueFd file;
        std::size_t most;
        std::string text;
        std::function<void(std::string)> done;
    };

    void run();
    void runPosted();
    void runDueTimers();
    void finishTransfers();
    void wait();
    /// Whether it has come to its end.
    static bool read(Reading& reading);

    foundation::Mutex mutex_; // a leaf
    std::vector<std::function<void()>> posted_ GUARDED_BY(mutex_);
    std::atomic<bool> ending_{false};

    // The thread's own.
    void* multi_ = nullptr;
    foundation::UniqueFd alarm_;
    std::multimap<BootClock::time_point, std::function<void()>> timers_;
    std::map<void*, std::unique_ptr<Transfer>> transfers_;
    std::vector<Reading> readings_;

    std::thread thread_; // last
};

} // namespace hshd::net
