#include "concurrent/threadpool/ExecutorCore.h"

#include <boost/asio/post.hpp>
#include <boost/core/demangle.hpp>

#include <algorithm>
#include <cxxabi.h>
#include <exception>
#include <pthread.h>
#include <utility>

namespace foundation::concurrent::threadpool::detail {

ExecutorCore::ExecutorCore(const Executor::Options& options)
    : options_(options), logger_("foundation." + options.name), keepRunning_(context_.get_executor()) {}

void ExecutorCore::start() {
    try {
        const MutexLock lock(mutex_);
        while (threads_ < options_.minThreads) {
            addWorker();
        }
    } catch (...) {
        stop();
        throw;
    }
}

bool ExecutorCore::post(const boost::uuids::uuid& queue, Work work, bool front) {
    // The node is made, and on refusal destroyed, outside the lock.
    Items item;
    item.push_back(std::move(work));
    const MutexLock lock(mutex_);
    if (stopped_) {
        return false;
    }
    const auto [entry, inserted] = queues_.try_emplace(queue);
    if (inserted) {
        try {
            giveTurn(*entry);
        } catch (...) {
            queues_.erase(entry);
            throw;
        }
    }
    Items& waiting = entry->second;
    waiting.splice(front ? waiting.begin() : waiting.end(), item);
    return true;
}

bool ExecutorCore::post(Work work) {
    Items item;
    item.push_back(std::move(work));
    const MutexLock lock(mutex_);
    if (stopped_) {
        return false;
    }
    boost::asio::post(context_, [this] { runUnqueued(); });
    ++turns_;
    unqueued_.splice(unqueued_.end(), item);
    growIfNeeded();
    return true;
}

void ExecutorCore::giveTurn(Queue& queue) {
    boost::asio::post(context_, [this, &queue] { runQueue(queue); });
    ++turns_;
    growIfNeeded();
}

void ExecutorCore::growIfNeeded() {
    if (turns_ <= idle_ || threads_ >= options_.maxThreads) {
        return;
    }
    try {
        addWorker();
    } catch (const std::exception&) {
        // The system is out of threads or memory. The threads there are come to the item in time.
    }
}

void ExecutorCore::addWorker() {
    const auto self = workers_.emplace(workers_.end());
    try {
        // The thread first takes the lock, so it finds its entry complete.
        self->thread = std::thread([core = shared_from_this(), self] { core->work(self); });
    } catch (...) {
        workers_.erase(self);
        throw;
    }
    ++threads_;
    ++idle_;
}

void ExecutorCore::work(Workers::iterator self) {
    ::pthread_setname_np(::pthread_self(), options_.name.substr(0, 15).c_str());
    bool timedOut = false;
    while (true) {
        switch (next(self, timedOut)) {
        case Next::end:
            return;
        case Next::sleep:
            context_.run_one();
            timedOut = false;
            break;
        case Next::sleepUntilIdleTimeout:
            timedOut = context_.run_one_for(options_.idleTimeout) == 0;
            break;
        }
    }
}

ExecutorCore::Next ExecutorCore::next(Workers::iterator self, bool timedOut) {
    Workers ended;
    {
        const MutexLock lock(mutex_);
        if (!context_.stopped() && !isSurplus(timedOut)) {
            // The threads that are to stay anyway sleep without waking up now and then.
            return threads_ > options_.minThreads ? Next::sleepUntilIdleTimeout : Next::sleep;
        }
        ended = takeEnded();
        --threads_;
        --idle_;
        leastIdle_ -= leastIdle_ > 0 ? 1 : 0;
        self->ended = true;
        workerChanged_.notify_all();
    }
    for (auto& worker : ended) {
        worker.thread.join();
    }
    return Next::end;
}

bool ExecutorCore::isSurplus(bool timedOut) {
    if (threads_ <= options_.minThreads || turns_ >= idle_) {
        return false;
    }
    if (timedOut) {
        return true;
    }
    // A trickle of items that wakes one thread after the other must not keep all of them.
    const auto now = Clock::now();
    if (now - periodStart_ < options_.idleTimeout) {
        return false;
    }
    if (leastIdle_ > 0) {
        return true;
    }
    periodStart_ = now;
    leastIdle_ = idle_;
    return false;
}

bool ExecutorCore::takeTurn() {
    --turns_;
    if (stopped_) {
        return false;
    }
    --idle_;
    leastIdle_ = std::min(leastIdle_, idle_);
    return true;
}

void ExecutorCore::runQueue(Queue& queue) {
    MutexLock lock(mutex_);
    if (!takeTurn()) {
        return;
    }
    Items& waiting = queue.second;
    do {
        Items item;
        item.splice(item.end(), waiting, waiting.begin());
        lock.unlock();
        execute(std::move(item));
        lock.lock();
        // The thread stays with its queue while no turn is pending; else the queue lines up behind the
        // others.
    } while (!waiting.empty() && turns_ == 0);
    ++idle_;
    if (waiting.empty()) {
        const boost::uuids::uuid id = queue.first;
        queues_.erase(id);
    } else {
        giveTurn(queue);
    }
}

void ExecutorCore::runUnqueued() {
    Items item;
    {
        const MutexLock lock(mutex_);
        if (!takeTurn()) {
            return;
        }
        item.splice(item.end(), unqueued_, unqueued_.begin());
    }
    execute(std::move(item));
    const MutexLock lock(mutex_);
    ++idle_;
}

void ExecutorCore::execute(Items item) noexcept {
    try {
        item.front()();
    } catch (const std::exception& error) {
        logFailure(error.what());
    } catch (...) {
        logFailure("not a std::exception");
    }
    // Here and not in the caller, whose parameter might live on.
    item.clear();
}

void ExecutorCore::logFailure(const char* reason) const noexcept {
    const std::type_info* type = abi::__cxa_current_exception_type();
    try {
        const std::string name = type != nullptr ? boost::core::demangle(type->name()) : "unknown";
        logger_.log(log::logging_event_types::error,
                    "A work item ended with an exception of type " + name + ": " + reason);
    } catch (const std::bad_alloc&) {
        logger_.log(log::logging_event_types::error, reason);
    }
}

void ExecutorCore::stop(std::optional<Clock::time_point> deadline) {
    stopSource_.request_stop();
    dropWaiting();
    const auto thisThread = std::this_thread::get_id();
    Workers ended;
    {
        MutexLock lock(mutex_);
        const auto self = std::ranges::find(workers_, thisThread,
                                            [](const Worker& worker) { return worker.thread.get_id(); });
        if (self != workers_.end()) {
            self->stopping = true;
            workerChanged_.notify_all();
        }
        while (othersRun(self)) {
            if (!deadline) {
                workerChanged_.wait(lock);
            } else if (workerChanged_.wait_until(lock, *deadline) == std::cv_status::timeout) {
                break;
            }
        }
        ended = takeEnded();
    }
    for (auto& worker : ended) {
        worker.thread.join();
    }
}

void ExecutorCore::dropWaiting() {
    Items dropped;
    const MutexLock lock(mutex_);
    if (std::exchange(stopped_, true)) {
        return;
    }
    dropped.splice(dropped.end(), unqueued_);
    for (auto& [id, waiting] : queues_) {
        dropped.splice(dropped.end(), waiting);
    }
    // Turns that nobody took are forgotten; there is nothing left that they could run.
    context_.stop();
}

bool ExecutorCore::othersRun(Workers::const_iterator self) const {
    const bool fromItem = self != workers_.end();
    for (auto worker = workers_.begin(); worker != workers_.end(); ++worker) {
        if (worker != self && !worker->ended && !(fromItem && worker->stopping)) {
            return true;
        }
    }
    return false;
}

ExecutorCore::Workers ExecutorCore::takeEnded() {
    Workers ended;
    for (auto worker = workers_.begin(); worker != workers_.end();) {
        const auto following = std::next(worker);
        if (worker->ended && worker->thread.joinable()) {
            ended.splice(ended.end(), workers_, worker);
        }
        worker = following;
    }
    return ended;
}

void ExecutorCore::abandonThreads() {
    const MutexLock lock(mutex_);
    // Their entries stay: the threads still write to them.
    for (auto& worker : workers_) {
        worker.thread.detach();
    }
}

Executor::Statistics ExecutorCore::statistics() const {
    const MutexLock lock(mutex_);
    std::size_t waiting = unqueued_.size();
    for (const auto& [id, items] : queues_) {
        waiting += items.size();
    }
    return {threads_, idle_, queues_.size(), waiting};
}

} // namespace foundation::concurrent::threadpool::detail
