#pragma once

#include <boost/uuid/uuid.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace foundation::concurrent::threadpool {

using stop_token = std::stop_token;

namespace detail {
class ExecutorCore;
}

/// A thread pool whose work items may be tied to a queue: items of one queue run one after the other in the
/// order posted, different queues run in parallel.
///
/// The pool grows by a thread whenever work waits and every thread is busy, so that a blocked item holds up
/// nothing but its own queue until `maxThreads` are blocked. Items run, and their closures are destroyed,
/// with no lock held and on the thread that ran them, before the next item of their queue starts. What an
/// item throws is logged and swallowed. All members may be called from any thread, items included.
class Executor {
public:
    struct Options {
        std::size_t minThreads = 1;
        std::size_t maxThreads = 64;
        /// A thread above `minThreads` ends when the pool did without it this long.
        std::chrono::milliseconds idleTimeout = std::chrono::seconds(30);
        /// Shown as the threads' name, of which the system keeps 15 bytes.
        std::string name = "executor";
    };

    struct Statistics {
        std::size_t threads;
        std::size_t idleThreads;
        /// Queues with an item that runs or waits.
        std::size_t queues;
        /// Items that have not started.
        std::size_t waitingItems;
    };

    /// @throws std::invalid_argument unless 1 <= minThreads <= maxThreads and idleTimeout is within 0 and 24
    /// hours;
    ///         std::system_error if the first threads cannot be started.
    explicit Executor(const Options& options);

    /// Stops. From one of the pool's own items it waits for every thread but that one, which ends after the
    /// item.
    ~Executor();
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    /// The pool of this library or program, with the default options, created on first use and never
    /// destroyed. When the process exits it is stopped, and items that do not end within a second are
    /// abandoned.
    static Executor& instance();
    /// A second such pool, for work that must not wait behind items of instance() that block.
    static Executor& eventInstance();

    /// Appends the item to its queue, or with `front` puts it before the queue's items that have not started.
    /// @return false, the item destroyed without being run, once the pool is stopped.
    /// @throws std::invalid_argument for an empty function.
    bool post(const boost::uuids::uuid& queue, std::function<void()> work, bool front = false);

    /// Posts an item that may run beside any other.
    bool post(std::function<void()> work);

    /// Stop is requested when the pool stops; long items should watch it.
    stop_token stopToken() const;

    /// Requests stop on the token, destroys the items that have not started, and waits for those that run.
    /// From one of the pool's own items it waits for the others only. Further calls wait likewise.
    void stop();

    Statistics statistics() const;

private:
    std::shared_ptr<detail::ExecutorCore> core_;
};

} // namespace foundation::concurrent::threadpool
