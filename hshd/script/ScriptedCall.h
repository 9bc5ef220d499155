#pragma once

#include <agent/spf/transport/Server.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace hshd {

/// A call whose answer is not given as its service gives it. An error passes unchanged.
class ScriptedCall final : public agent::spf::transport::IncomingCall {
public:
    using Answered = std::function<void(const std::shared_ptr<IncomingCall>& call,
                                        agent::spf::core::GenericPayload result)>;

    /// @param answered called instead, on whichever thread the service answers.
    ScriptedCall(std::unique_ptr<IncomingCall> call, Answered answered)
        : call_(std::move(call)), answered_(std::move(answered)) {}

    const std::string& method() const noexcept override { return call_->method(); }
    const std::string& descriptor() const noexcept override { return call_->descriptor(); }
    agent::spf::core::GenericPayload& arguments() noexcept override { return call_->arguments(); }
    std::size_t bytes() const noexcept override { return call_->bytes(); }
    const std::shared_ptr<agent::spf::transport::ClientSession>& client() const noexcept override {
        return call_->client();
    }
    std::chrono::steady_clock::time_point deadline() const noexcept override { return call_->deadline(); }

    void reply(agent::spf::core::GenericPayload result) override { answered_(call_, std::move(result)); }
    void fail(agent::spf::core::ErrorKind kind, const std::string& text) override { call_->fail(kind, text); }
    void breakOff() override { call_->breakOff(); }

private:
    const std::shared_ptr<IncomingCall> call_;
    const Answered answered_;
};

} // namespace hshd
