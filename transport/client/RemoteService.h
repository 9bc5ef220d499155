#pragma once

#include "contract/calls/Invokable.h"
#include "transport/client/Connection.h"

#include <memory>

namespace agent::spf::transport {

/// One service of a connected daemon. Outlives its connection when somebody holds it; calls fail at once
/// then.
class RemoteService final : public core::Invokable {
public:
    RemoteService(std::shared_ptr<Connection> connection, std::uint32_t index)
        : connection_(std::move(connection)), index_(index) {}

    CallId invokeGeneric(std::optional<std::chrono::milliseconds> timeout, std::string method,
                         core::SignatureDescriptor signature, core::GenericPayload arguments,
                         core::CompletionHandler handler) override {
        return connection_->call(index_, timeout, std::move(method), signature, arguments,
                                 std::move(handler));
    }
    void callAndWait(std::optional<std::chrono::milliseconds> timeout, std::string_view method,
                     core::SignatureDescriptor signature, std::span<const core::ArgumentRef> arguments,
                     core::ResultRef result) override {
        connection_->callAndWait(index_, timeout, method, signature, arguments, result);
    }
    void collect() noexcept override { connection_->collect(); }
    void sendCollected() noexcept override { connection_->sendCollected(); }
    void help(CallId call) noexcept override { connection_->help(call); }
    std::shared_ptr<core::CallbackTable> callbacks() override { return connection_->callbacks(); }

private:
    const std::shared_ptr<Connection> connection_;
    const std::uint32_t index_; // in the daemon's welcome
};

} // namespace agent::spf::transport
