#pragma once

#include "contract/calls/CallbackManager.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/ConnectedClient.h"

namespace hshd::test {

inline const std::string loginService = "(&(spf.service.name=ZelkorLogin)(spf.service.version=2))";

/// A daemon's service as a client sees it, and what is exported to it.
struct Remote {
    using Listener = std::function<void(const LoginInfo&, const LoginInfo&)>;
    using Negotiator = std::function<NegotiatorResponse(const NegotiationTerms&)>;

    Invokables service;
    core::CallbackManager callbacks{service->callbacks()};

    template <class R = void, class... Args>
    R call(const std::string& method, Args... args) {
        return callAndHelp<R>(*service, method, std::move(args)...);
    }
    void listen(Listener listener) { call<uuid>("addStatusListener", exported(std::move(listener))); }
    void addNegotiator(const std::string& name, Negotiator negotiator) {
        call<uuid>("addLogoutNegotiator", name, exported(std::move(negotiator)));
    }
    std::future<NegotiationsResult> negotiation() {
        return service->invokeAsync<NegotiationsResult>(generousLimit, "negotiateLogout",
                                                        NegotiationTerms{1});
    }

private:
    template <class Function>
    ExportedCallback exported(Function function) {
        return callbacks.makeExportedCallback(core::exportFunction(std::move(function)), std::nullopt,
                                              std::nullopt, false);
    }
};

} // namespace hshd::test
