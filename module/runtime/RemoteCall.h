#pragma once

#include "contract/calls/Errors.h"
#include "contract/vocabulary/RemoteMethod.h"
#include "module/runtime/InvokableTrackerBase.h"

#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace agent::spf::cppmsclientutils {

/// A call on its way, made by a thread that holds the state lock and keeps it until it has the answer.
template <class R>
class PendingCall {
public:
    PendingCall(const InvokableTrackerBase& tracker, std::string_view method, core::Invokable& invokable,
                core::StartedCall<R> started)
        : tracker_(&tracker), method_(method), invokable_(&invokable), started_(std::move(started)) {}

    /// Waits for the answer. Once. An exclusive hold is lent meanwhile. @throws whatever the call failed
    /// with.
    R get(ExclusiveAccess& access) {
        const Lending lending(access);
        return get();
    }
    R get(SharedAccess&) { return get(); }

private:
    R get() {
        try {
            invokable_->help(started_.id);
            return started_.result.get();
        } catch (const std::exception& failure) {
            tracker_->logFailure(method_, failure.what());
            throw;
        }
    }

    const InvokableTrackerBase* tracker_;
    std::string_view method_; // of a RemoteMethod, which are constants
    core::Invokable* invokable_;
    core::StartedCall<R> started_;
};

/// Makes calls for a thread that holds a tracker's state lock, with the proof of it.
template <class Access>
class RemoteCaller {
public:
    RemoteCaller(InvokableTrackerBase& tracker, Access& access) : tracker_(tracker), access_(access) {}

    /// Sends a call, so that several can be on their way at once. Waits for the service, up to the service
    /// timeout. The method's declared types hold, whatever the caller passes.
    template <class R, class... Args>
    PendingCall<R> begin(const RemoteMethod<R(Args...)>& method, std::type_identity_t<Args>... args) const {
        auto& invokable = tracker_.invokableFor(method.name, access_);
        return logged(method.name, [&]() -> PendingCall<R> {
            return {tracker_, method.name, invokable, send<R>(invokable, method, std::move(args)...)};
        });
    }
    /// Sends a call and waits for its answer.
    template <class R, class... Args>
    R operator()(const RemoteMethod<R(Args...)>& method, const std::type_identity_t<Args>&... args) const {
        if constexpr (std::is_same_v<Access, SharedAccess>) {
            auto& invokable = tracker_.invokableFor(method.name, access_);
            return logged(method.name, [&] {
                return invokable.template call<R, std::type_identity_t<Args>...>(
                    tracker_.callTimeout(method.timeout), method.name, args...);
            });
        } else {
            return begin(method, args...).get(access_);
        }
    }

private:
    /// Logs what escapes from `work`.
    template <class Work>
    auto logged(std::string_view method, const Work& work) const {
        try {
            return work();
        } catch (const std::exception& failure) {
            tracker_.logFailure(method, failure.what());
            throw;
        }
    }
    template <class R, class Method, class... Args>
    core::StartedCall<R> send(core::Invokable& invokable, const Method& method, Args&&... args) const {
        const auto start = [&] {
            return invokable.template startCall<R>(tracker_.callTimeout(method.timeout),
                                                   std::string(method.name), std::forward<Args>(args)...);
        };
        if constexpr (std::is_same_v<Access, SharedAccess>) {
            return start();
        } else {
            // A client that is being destroyed sends nothing further on behalf of its registrations.
            const ClosingGate::Passage passage(tracker_.sends());
            if (!passage)
                throw core::DisconnectedError("The client is being destroyed");
            const Lending lending(access_); // a daemon in this process may call back at once
            return start();
        }
    }

    InvokableTrackerBase& tracker_;
    Access& access_;
};

} // namespace agent::spf::cppmsclientutils
