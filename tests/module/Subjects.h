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

#include <map>
#include <mutex>

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
    static const auto firstForm = goldenVocabulary("ZelkorLogin-v1.7").at("addStatusListener").callback;
    if (call.method == "requestLoginAsync")
        return GenericPayload::of(someone(), std::string());
    if (call.method == "requestLogoutWithOptionsAsync")
        return GenericPayload::of(std::string());
    if (call.method == "addLogoutNegotiator")
        return GenericPayload::of(login::NegotiationTerms{1});
    if (call.method == "addLogoutVetoer")
        return {};
    if (call.arguments.get<ExportedCallback>(0).descriptor() == firstForm)
        return GenericPayload::of(boost::optional<login::LoginInfo>(someone()));
    return GenericPayload::of(someone(), login::LoginInfo());
}

/// A daemon that takes every request, keeps the registrations made with it, and calls what was exported when
/// it is told to.
class CallingDaemon : public FakeDaemon {
public:
    CallingDaemon(cppmicroservices::BundleContext context, const Subject& subject,
                  std::optional<int> ranking = {})
        : FakeDaemon(std::move(context),
                     {subject.identity.name, subject.identity.version, subject.identity.revision, ranking}) {
        answer("getLoginInfo", someone());
        for (const char* method : {"getRelease", "negotiateLogout", "completeLogout", "abort",
                                   "requestLoginAsync", "requestLogoutWithOptionsAsync"})
            on(method, [](const Call& call) { call.answer(resultOf(call.method)); });
        for (const char* method :
             {"addStatusListener", "addStatusListenerV2", "addLogoutNegotiator", "addLogoutVetoer"})
            on(method, [this](const Call& call) { add(call); });
        for (const char* method : {"removeStatusListener", "removeLogoutNegotiator", "removeLogoutVetoer"})
            on(method, [this](const Call& call) { remove(call); });
    }
    ~CallingDaemon() { end(); }

    /// What the method is answered with, unless it fails.
    static GenericPayload resultOf(const std::string& method) {
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

    /// Called at each add with its number, from 1; false makes the add fail.
    void beforeAdd(std::function<bool(int)> hook) { beforeAdd_ = std::move(hook); }
    int added() const { return added_; }
    /// How many are registered.
    std::size_t live() const {
        const std::scoped_lock lock(mutex_);
        return live_.size();
    }
    /// Calls what is registered, once each; how many of the calls failed.
    int deliverAll() {
        std::unique_lock lock(mutex_);
        const auto live = live_;
        lock.unlock();
        int failed = 0;
        for (const auto& [id, registration] : live) {
            try {
                callbacks()->invoke(callbackOf(registration), {}, argumentsFor(registration));
            } catch (...) {
                ++failed;
            }
        }
        return failed;
    }

private:
    void add(const Call& call) {
        const bool taken = !beforeAdd_ || beforeAdd_(added_ + 1);
        ++added_;
        if (!taken)
            return call.fail("not now");
        const auto id = login::detail::createUuid();
        {
            const std::scoped_lock lock(mutex_);
            live_.emplace(id, call);
        }
        call.answer(GenericPayload::of(id));
    }
    void remove(const Call& call) {
        std::unique_lock lock(mutex_);
        const bool known = live_.erase(call.arguments.get<boost::uuids::uuid>(0)) == 1;
        lock.unlock();
        call.answer(GenericPayload::of(known));
    }

    std::function<bool(int)> beforeAdd_;
    std::atomic<int> added_{0};
    mutable std::mutex mutex_;
    std::map<boost::uuids::uuid, Call> live_;
};

/// A subject's client, one after another of its daemons, and what the client logs.
class SubjectTest : public TestWithParam<Subject> {
protected:
    CallingDaemon makeDaemon(std::optional<int> ranking = {}) {
        return {framework.context(), GetParam(), ranking};
    }
    bool version1() const { return GetParam().name == "V1"; }
    /// By which the client registers what addStatusListenerV2() is given.
    std::string addMethod() const { return version1() ? "addStatusListenerV2" : "addStatusListener"; }

    const std::string service = GetParam().identity.text();
    const std::string found = "Found an invokable for " + service;
    const std::string removed = "Invokable for " + service + " was removed";
    RecordingLog log{GetParam().component};
    TestFramework framework;
};

inline const auto bothVersions = Values(Subject::version2(), Subject::version1());
inline const auto subjectName = [](const auto& subject) { return subject.param.name; };

} // namespace zelkor::test
