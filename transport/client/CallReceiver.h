#pragma once

#include "contract/calls/BlockingCall.h"
#include "contract/calls/CompletionHandler.h"
#include "transport/wire/PayloadCodec.h"

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace agent::spf::transport {

/// Who learns how a call ended: fail() once, or read() and then succeed(). Used by one thread at a time.
class CallReceiver {
public:
    virtual ~CallReceiver() = default;
    CallReceiver(const CallReceiver&) = delete;
    CallReceiver& operator=(const CallReceiver&) = delete;

    virtual std::string_view method() const noexcept = 0;
    /// Takes the result out of the message. @throws what wire::decodePayload() throws; fail() follows.
    virtual void read(wire::SlotList::Reader result, std::size_t maxSlots) = 0;
    /// Hands on what was read. @throws what the receiver's user throws.
    virtual void succeed() = 0;
    virtual void fail(std::exception_ptr error) = 0;

protected:
    CallReceiver() = default;
};

/// Of a call that ends in a handler.
class HandlerReceiver final : public CallReceiver {
public:
    HandlerReceiver(std::string method, core::CompletionHandler handler)
        : method_(std::move(method)), handler_(std::move(handler)) {}

    std::string_view method() const noexcept override { return method_; }
    void read(wire::SlotList::Reader result, std::size_t maxSlots) override {
        result_ = wire::decodePayload(result, maxSlots);
    }
    void succeed() override { handler_.onValue(std::move(result_)); }
    void fail(std::exception_ptr error) override { handler_.onError(std::move(error)); }

private:
    const std::string method_;
    const core::CompletionHandler handler_;
    core::GenericPayload result_;
};

/// Of a call whose caller waits; lives in the caller's stack frame until the call has ended.
class BlockedCaller final : public CallReceiver {
public:
    BlockedCaller(std::string_view method, core::ResultRef result) noexcept
        : method_(method), result_(result) {}

    std::string_view method() const noexcept override { return method_; }
    void read(wire::SlotList::Reader result, std::size_t maxSlots) override {
        if (wire::decodeResult(result, result_))
            return;
        auto payload = wire::decodePayload(result, maxSlots);
        try {
            result_.takeFrom(payload);
        } catch (...) {
            error_ = std::current_exception(); // not what the caller asked for
        }
    }
    void succeed() override {}
    void fail(std::exception_ptr error) override { error_ = std::move(error); }

    /// For the caller, after the end.
    void rethrow() const {
        if (error_)
            std::rethrow_exception(error_);
    }

private:
    const std::string_view method_;
    const core::ResultRef result_;
    std::exception_ptr error_;
};

} // namespace agent::spf::transport
