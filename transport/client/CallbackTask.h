#pragma once

#include "contract/calls/GenericPayload.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <boost/uuid/uuid.hpp>

#include <chrono>
#include <cstdint>
#include <memory>

namespace agent::spf::core {
class CallbackTable;
}

namespace agent::spf::transport {

class Connection;

/// A daemon's call of an exported function, on its way through the executor. Answered exactly once: with what
/// the function gave or threw, or, when the executor drops it, with a refusal. May outlive its connection.
class CallbackTask {
public:
    struct Call {
        std::uint64_t id; ///< the daemon's, for the answer
        boost::uuids::uuid callback;
        core::GenericPayload arguments;
        std::chrono::steady_clock::time_point deadline;
    };

    CallbackTask(std::weak_ptr<Connection> connection, std::shared_ptr<core::CallbackTable> table, Call call,
                 foundation::concurrent::threadpool::stop_token stop);
    ~CallbackTask();
    CallbackTask(const CallbackTask&) = delete;
    CallbackTask& operator=(const CallbackTask&) = delete;

    /// Once.
    void run() noexcept;

private:
    template <class... Outcome>
    void answer(const Outcome&... outcome) noexcept;

    std::weak_ptr<Connection> connection_; // empty once answered
    const std::shared_ptr<core::CallbackTable> table_;
    Call call_;
    const foundation::concurrent::threadpool::stop_token stop_;
};

} // namespace agent::spf::transport
