#include "concurrent/threadpool/ExecutorCore.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <stdexcept>
#include <utility>

namespace foundation::concurrent::threadpool {
namespace {

void requireValid(const Executor::Options& options) {
    if (options.minThreads < 1 || options.minThreads > options.maxThreads) {
        throw std::invalid_argument("an executor needs 1 <= minThreads <= maxThreads, not " +
                                    std::to_string(options.minThreads) + " and " +
                                    std::to_string(options.maxThreads));
    }
    // The bound keeps the sums with the clock from overflowing.
    if (options.idleTimeout < std::chrono::milliseconds::zero() ||
        options.idleTimeout > std::chrono::hours(24)) {
        throw std::invalid_argument("an executor's idleTimeout must be between 0 and 24 hours");
    }
}

void requireCallable(const std::function<void()>& work) {
    if (!work) {
        throw std::invalid_argument("an empty function was posted to an executor");
    }
}

/// Stops the shared pool when the process exits (or the library is unloaded), without waiting for ever.
class StopAtExit {
public:
    explicit StopAtExit(std::shared_ptr<detail::ExecutorCore> core) : core_(std::move(core)) {}
    StopAtExit(const StopAtExit&) = delete;
    StopAtExit& operator=(const StopAtExit&) = delete;
    ~StopAtExit() {
        core_->stop(detail::Clock::now() + std::chrono::seconds(1));
        core_->abandonThreads();
    }

private:
    std::shared_ptr<detail::ExecutorCore> core_;
};

} // namespace

Executor::Executor(const Options& options) {
    requireValid(options);
    core_ = std::make_shared<detail::ExecutorCore>(options);
    core_->start();
}

Executor::~Executor() {
    core_->stop();
    core_->abandonThreads();
}

// Neither is destroyed: objects that are destroyed later at exit may still post, and are refused.
Executor& Executor::instance() {
    static Executor* const shared = new Executor(Options{});
    static const StopAtExit stopAtExit(shared->core_);
    return *shared;
}

Executor& Executor::eventInstance() {
    static Executor* const shared = new Executor(Options{.name = "events"});
    static const StopAtExit stopAtExit(shared->core_);
    return *shared;
}

bool Executor::post(const boost::uuids::uuid& queue, std::function<void()> work, bool front) {
    requireCallable(work);
    return core_->post(queue, std::move(work), front);
}

bool Executor::post(std::function<void()> work) {
    requireCallable(work);
    return core_->post(std::move(work));
}

stop_token Executor::stopToken() const {
    return core_->stopToken();
}

void Executor::stop() {
    // An item that stops the pool may let go of the executor meanwhile.
    const auto core = core_;
    core->stop();
}

Executor::Statistics Executor::statistics() const {
    return core_->statistics();
}

} // namespace foundation::concurrent::threadpool
