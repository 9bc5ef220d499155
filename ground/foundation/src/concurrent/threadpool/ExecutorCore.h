#pragma once

#include <foundation/concurrent/threadpool/Executor.h>
#include <foundation/log/diagnostic_logger.h>
#include <foundation/thread_annotations.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <condition_variable>
#include <list>
#include <optional>
#include <thread>
#include <unordered_map>

namespace foundation::concurrent::threadpool::detail {

using Work = std::function<void()>;
using Clock = std::chrono::steady_clock;

/// The pool behind an Executor, shared with its threads so that it outlives the last of them.
///
/// The io_context hands out turns: one per unqueued item, and one per queue that has an item and no thread. A
/// queue has at most one turn, and none while one of its items runs; that keeps its items in order. The items
/// themselves stay in lists of this class, from which stop() can take them.
class ExecutorCore : public std::enable_shared_from_this<ExecutorCore> {
public:
    explicit ExecutorCore(const Executor::Options& options);

    /// Called once, before anything is posted.
    void start() EXCLUDES(mutex_);

    bool post(const boost::uuids::uuid& queue, Work work, bool front) EXCLUDES(mutex_);
    bool post(Work work) EXCLUDES(mutex_);

    /// Requests stop, drops what waits, and waits until the other threads have ended or the deadline has
    /// passed. Called from an item it does not wait for threads whose own item is in stop() as well.
    void stop(std::optional<Clock::time_point> deadline = std::nullopt) EXCLUDES(mutex_);

    /// After stop(): lets go of the threads that still run.
    void abandonThreads() EXCLUDES(mutex_);

    stop_token stopToken() const { return stopSource_.get_token(); }
    Executor::Statistics statistics() const EXCLUDES(mutex_);

private:
    using Items = std::list<Work>;
    using Queues = std::unordered_map<boost::uuids::uuid, Items>;
    using Queue = Queues::value_type;

    struct Worker {
        std::thread thread;
        bool ended = false;
        /// In stop(), called by its item.
        bool stopping = false;
    };
    using Workers = std::list<Worker>;

    enum class Next { end, sleep, sleepUntilIdleTimeout };

    void giveTurn(Queue& queue) REQUIRES(mutex_);
    void growIfNeeded() REQUIRES(mutex_);
    void addWorker() REQUIRES(mutex_);

    void work(Workers::iterator self) EXCLUDES(mutex_);
    Next next(Workers::iterator self, bool timedOut) EXCLUDES(mutex_);
    bool isSurplus(bool timedOut) REQUIRES(mutex_);

    bool takeTurn() REQUIRES(mutex_);
    void runQueue(Queue& queue) EXCLUDES(mutex_);
    void runUnqueued() EXCLUDES(mutex_);
    void execute(Items item) noexcept EXCLUDES(mutex_);
    void logFailure(const char* reason) const noexcept;

    void dropWaiting() EXCLUDES(mutex_);
    bool othersRun(Workers::const_iterator self) const REQUIRES(mutex_);
    Workers takeEnded() REQUIRES(mutex_);

    const Executor::Options options_;
    const log::basic_diagnostic_logger<char> logger_;
    std::stop_source stopSource_;
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> keepRunning_;

    /// Never held while an item runs or is destroyed, nor while a thread is joined. The io_context's own lock
    /// may be taken under it.
    mutable Mutex mutex_;
    std::condition_variable_any workerChanged_;
    bool stopped_ GUARDED_BY(mutex_) = false;
    /// The waiting items of each queue that has one waiting or running. Entries keep their address.
    Queues queues_ GUARDED_BY(mutex_);
    Items unqueued_ GUARDED_BY(mutex_);
    /// Threads that have ended stay listed until one that is still there joins them.
    Workers workers_ GUARDED_BY(mutex_);
    std::size_t threads_ GUARDED_BY(mutex_) = 0;
    std::size_t idle_ GUARDED_BY(mutex_) = 0;
    /// Turns given and not yet taken.
    std::size_t turns_ GUARDED_BY(mutex_) = 0;
    /// The fewest idle threads since periodStart_: the pool could have done without these.
    std::size_t leastIdle_ GUARDED_BY(mutex_) = 0;
    Clock::time_point periodStart_ GUARDED_BY(mutex_) = Clock::now();
};

} // namespace foundation::concurrent::threadpool::detail
