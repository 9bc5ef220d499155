#pragma once

#include "contract/calls/CallbackScope.h"
#include "contract/records/NotifierUuid.h"
#include "module/v1/ZelkorLoginImpl.h"
#include "module/v2/ZelkorLogin.h"
#include "module/v2/interactive/ZelkorLogin.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"

#include <foundation/concurrent/threadpool/Executor.h>

namespace zelkor::test {

using agent::spf::core::ExportedCallback;
using agent::spf::core::GenericPayload;
using foundation::concurrent::threadpool::Executor;

/// A client that may end at any time, by the interfaces that it has.
struct AnyClient {
    template <class Client>
    explicit AnyClient(std::shared_ptr<Client> client) : owner(client) {
        if constexpr (std::is_base_of_v<login::ZelkorLogin, Client>)
            login = client.get();
        if constexpr (std::is_base_of_v<login::detail::ZelkorLogin, Client>)
            detail = client.get();
        if constexpr (std::is_base_of_v<login::interactive::ZelkorLogin, Client>)
            interactive = client.get();
    }
    void end() { owner.reset(); }
    /// To call it with, while others own it.
    AnyClient unowned() const {
        auto copy = *this;
        copy.owner.reset();
        return copy;
    }

    std::shared_ptr<void> owner;
    login::ZelkorLogin* login = nullptr;
    login::detail::ZelkorLogin* detail = nullptr;
    login::interactive::ZelkorLogin* interactive = nullptr;
};

/// A service, and a client that speaks it.
struct Subject {
    std::string name;
    FakeDaemon::Identity identity;
    std::string component; ///< under which the client logs
    std::function<AnyClient(int call, int service, std::optional<agent::spf::cppmsclientutils::Executors>)>
        make;

    friend void PrintTo(const Subject& subject, std::ostream* out) { *out << subject.name; }

    template <class Client>
    static Subject of(std::string name, FakeDaemon::Identity identity, std::string component) {
        return {std::move(name), std::move(identity), std::move(component),
                [](int call, int service, auto executors) {
                    const auto limits = configuration(call, service);
                    const auto pools = executors.value_or(agent::spf::cppmsclientutils::Executors());
                    if constexpr (std::is_constructible_v<Client, decltype(limits), decltype(pools)>)
                        return AnyClient(std::make_shared<Client>(limits, pools));
                    else
                        return AnyClient(std::make_shared<Client>(limits, nullptr, pools));
                }};
    }
    static Subject version2() {
        return of<login::spf::ZelkorLogin>("V2", {"ZelkorLogin", 2, 1}, "login.spf.ZelkorLogin");
    }
    static Subject version1() {
        return of<login::ZelkorLoginImpl>("V1", {"ZelkorLogin", 1, 7}, "login.ZelkorLoginImpl");
    }
    static Subject interactiveVersion2() {
        return of<login::spf::interactive::ZelkorLogin>("InteractiveV2", {"ZelkorLoginInteractive", 2, 2},
                                                        "login.spf.interactive.ZelkorLogin");
    }
};

inline boost::uuids::uuid callbackOf(const FakeDaemon::Call& call) {
    for (std::size_t i = 0; i < call.arguments.size(); ++i) {
        if (call.arguments.type(i) == typeid(ExportedCallback))
            return call.arguments.get<ExportedCallback>(i).getCallbackID();
    }
    return {};
}

/// What a daemon of either version passes to a function that was exported by the method.
inline GenericPayload argumentsFor(const FakeDaemon::Call& call) {
    const bool first = call.descriptor.find("removeStatus") == std::string::npos &&
                       call.method == "addStatusListener" && call.arguments.size() == 1;
    if (call.method == "requestLoginAsync")
        return GenericPayload::of(someone(), std::string());
    if (call.method == "requestLogoutWithOptionsAsync")
        return GenericPayload::of(std::string());
    if (call.method == "addLogoutNegotiator")
        return GenericPayload::of(login::NegotiationTerms{1});
    if (call.method == "addLogoutVetoer")
        return {};
    if (first && goldenVocabulary("ZelkorLogin-v1.7").at("addStatusListener").callback ==
                     call.arguments.get<ExportedCallback>(0).descriptor())
        return GenericPayload::of(boost::optional<login::LoginInfo>(someone()));
    return GenericPayload::of(someone(), login::LoginInfo());
}

/// A daemon that takes every registration and request, and calls what was exported when it is told to.
class CallingDaemon : public FakeDaemon {
public:
    CallingDaemon(cppmicroservices::BundleContext context, const Subject& subject,
                  std::optional<int> ranking = {})
        : FakeDaemon(std::move(context),
                     {subject.identity.name, subject.identity.version, subject.identity.revision, ranking}) {
        answer("getLoginInfo", someone());
        answer("getRelease", std::string("r"));
        answer("negotiateLogout", login::detail::NegotiationsResult{false, {u"no"}, {}});
        for (const char* method :
             {"completeLogout", "abort", "requestLoginAsync", "requestLogoutWithOptionsAsync"})
            answer(method);
        for (const char* method :
             {"addStatusListener", "addStatusListenerV2", "addLogoutNegotiator", "addLogoutVetoer"})
            on(method,
               [](const auto& call) { call.answer(GenericPayload::of(login::detail::createUuid())); });
        for (const char* method : {"removeStatusListener", "removeLogoutNegotiator", "removeLogoutVetoer"})
            answer(method, true);
    }

    /// What the method is answered with, unless it fails.
    GenericPayload resultOf(const std::string& method) const {
        if (method.starts_with("add"))
            return GenericPayload::of(login::detail::createUuid());
        if (method.starts_with("remove"))
            return GenericPayload::of(true);
        if (method == "getRelease")
            return GenericPayload::of(std::string("r"));
        if (method == "negotiateLogout")
            return GenericPayload::of(login::detail::NegotiationsResult{false, {u"no"}, {}});
        return {};
    }
    /// Calls what the call exported, as its callbacks' executor would; nothing when it was withdrawn.
    static void callBack(agent::spf::core::CallbackTable& table, const Call& call) {
        try {
            table.invoke(callbackOf(call), {}, argumentsFor(call));
        } catch (const agent::spf::core::WithdrawnError&) {
        }
    }
    std::optional<Call> last(const std::string& method) const {
        std::optional<Call> found;
        for (const auto& call : calls()) {
            if (call.method == method)
                found = call;
        }
        return found;
    }
};

} // namespace zelkor::test
