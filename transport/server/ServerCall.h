#pragma once

#include "transport/server/Session.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace agent::spf::transport {

/// A call as given to a service. Answers at most once; its session may be closed meanwhile.
class ServerCall final : public IncomingCall {
public:
    ServerCall(std::shared_ptr<Session> session, std::uint64_t id, std::shared_ptr<const MethodTexts> texts,
               core::GenericPayload arguments, std::size_t bytes,
               std::chrono::steady_clock::time_point deadline)
        : session_(session), client_(std::move(session)), id_(id), texts_(std::move(texts)),
          arguments_(std::move(arguments)), bytes_(bytes), deadline_(deadline) {}
    ~ServerCall() override {
        if (!answered_.exchange(true))
            session_->dropped(id_);
    }

    const std::string& method() const noexcept override { return texts_->name; }
    const std::string& descriptor() const noexcept override { return texts_->descriptor; }
    core::GenericPayload& arguments() noexcept override { return arguments_; }
    std::size_t bytes() const noexcept override { return bytes_; }
    const std::shared_ptr<ClientSession>& client() const noexcept override { return client_; }
    std::chrono::steady_clock::time_point deadline() const noexcept override { return deadline_; }

    void reply(core::GenericPayload result) override {
        if (!answered_.exchange(true))
            session_->reply(id_, result);
    }
    void fail(core::ErrorKind kind, const std::string& text) override {
        if (!answered_.exchange(true))
            session_->fail(id_, kind, text);
    }
    void breakOff() override {
        if (!answered_.exchange(true))
            session_->breakOff(id_);
    }

private:
    const std::shared_ptr<Session> session_;
    const std::shared_ptr<ClientSession> client_; // the same, as services see it
    const std::uint64_t id_;
    const std::shared_ptr<const MethodTexts> texts_;
    core::GenericPayload arguments_;
    const std::size_t bytes_;
    const std::chrono::steady_clock::time_point deadline_;
    std::atomic<bool> answered_ = false;
};

} // namespace agent::spf::transport
