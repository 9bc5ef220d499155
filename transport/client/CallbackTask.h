#pragma once

#include "contract/calls/CallbackTable.h"
#include "contract/calls/Errors.h"

#include <chrono>
#include <memory>
#include <string>
#include <variant>

namespace agent::spf::transport {

/// A daemon's call of an exported function, on its way through the executor. Runs once.
class CallbackTask {
public:
    struct Failure {
        core::ErrorKind kind;
        std::string text;
    };

    CallbackTask(std::shared_ptr<core::CallbackTable> table, const boost::uuids::uuid& callback,
                 core::GenericPayload arguments, std::chrono::steady_clock::time_point deadline,
                 foundation::concurrent::threadpool::stop_token stop);

    /// Whatever the function does, this returns: what it throws becomes a Failure.
    std::variant<core::GenericPayload, Failure> run() noexcept;

private:
    const std::shared_ptr<core::CallbackTable> table_;
    const boost::uuids::uuid callback_;
    core::GenericPayload arguments_;
    const std::chrono::steady_clock::time_point deadline_;
    const foundation::concurrent::threadpool::stop_token stop_;
};

} // namespace agent::spf::transport
