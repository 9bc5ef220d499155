#pragma once

#include "contract/records/Utf.h"
#include "tests/support/Recorded.h"

#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/detail/ZelkorLoginLNUSupport.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace zelkor::test {

using Calls = Recorded<std::string>;

/// Login services that note "<name>.<method>(<arguments>)" and answer with what tells them from others: their
/// name. Listeners and negotiators are called when they are added, and get it too.
class RecordingLogin : public login::ZelkorLogin,
                       public login::detail::ZelkorLogin,
                       public login::control::LoginVetoer,
                       public login::detail::ZelkorLoginLNUSupport {
public:
    using Info = login::LoginInfo;
    using Data = login::detail::LoginData;
    using Response = login::RequestAccessTokenResponse;

    RecordingLogin(std::string name, std::shared_ptr<Calls> calls)
        : release(name), name_(std::move(name)), calls_(std::move(calls)) {}

    std::string failing;                     ///< the method that throws
    mutable std::function<void()> meanwhile; ///< happens once, in the next call of any method
    const boost::uuids::uuid id = login::detail::createUuid(); ///< of every registration
    Data persisted;
    login::detail::NegotiationsResult negotiated{true, {}, {}};
    std::string release;

    Info getLoginInfo(std::string requester, Info::Level level) const override {
        return noted(info(), "getLoginInfo", requester + std::to_string(static_cast<int>(level)));
    }
    Response requestAccessTokenAdvanced(std::string requester, Info::Level level) override {
        return noted(Response{login::AccessToken(name_), 1}, "requestAccessTokenAdvanced",
                     requester + std::to_string(static_cast<int>(level)));
    }
    Response getAccessTokenAdvanced() override {
        return noted(Response{login::AccessToken(name_), 2}, "getAccessTokenAdvanced");
    }
    StatusListenerId addStatusListener(StatusListener) override {
        return noted(StatusListenerId(), "addStatusListener");
    }
    StatusListenerId addStatusListenerV2(StatusListenerV2 listener) override {
        note("addStatusListenerV2");
        listener(info(), Info());
        return StatusListenerId(id);
    }
    bool removeStatusListener(StatusListenerId removed) override {
        return noted(true, "removeStatusListener", removed.toString());
    }
    LogoutVetoerId addLogoutVetoer(LogoutVetoer) override {
        return noted(LogoutVetoerId(), "addLogoutVetoer");
    }
    bool removeLogoutVetoer(LogoutVetoerId) override { return noted(true, "removeLogoutVetoer"); }
    LogoutNegotiatorId addLogoutNegotiator(login::Negotiator negotiator) override {
        note("addLogoutNegotiator", negotiator.name + login::toUtf8(negotiator.negotiate({}).message));
        return LogoutNegotiatorId(id);
    }
    bool removeLogoutNegotiator(LogoutNegotiatorId removed) override {
        return noted(true, "removeLogoutNegotiator", removed.toString());
    }
    void impersonate(login::AccessToken token, Info info) override {
        note("impersonate", token.getTokenString() + login::toUtf8(info.userId));
    }

    std::string getEndpoint() override { return noted(name_, "getEndpoint"); }
    std::string getRelease() override { return noted(release, "getRelease"); }
    std::string getSourceId() override { return noted(name_, "getSourceId"); }
    Data getPersistedLoginData() override { return noted(persisted, "getPersistedLoginData"); }
    void persistIdentity(const Data& data) override {
        note("persistIdentity",
             login::toUtf8(data.info.userId) + std::to_string(static_cast<int>(data.info.level)));
    }
    void clearSettings() override { note("clearSettings"); }
    std::string getCurrentSessionId() override { return noted(name_, "getCurrentSessionId"); }
    bool isLogoutVetoed() override { return noted(true, "isLogoutVetoed"); }
    login::detail::NegotiationsResult negotiateLogout(const login::NegotiationTerms& terms) override {
        return noted(negotiated, "negotiateLogout", std::to_string(terms.value));
    }
    void completeLogout() override { note("completeLogout"); }
    Info getLoginInfoAndLogTELX(std::string requester, Info::Level level,
                                const std::string& context) override {
        return noted(info(), "getLoginInfoAndLogTELX",
                     requester + std::to_string(static_cast<int>(level)) + context);
    }

    void vetoSignIn(bool veto) override { note("vetoSignIn", veto ? "yes" : "no"); }
    bool shouldVetoSignIn() override { return noted(true, "shouldVetoSignIn"); }

    void setSourceId(const std::string& sourceId) override { note("setSourceId", sourceId); }

private:
    void note(const std::string& method, const std::string& argument = {}) const {
        calls_->add(name_ + "." + method + (argument.empty() ? "" : "(" + argument + ")"));
        if (const auto happens = std::exchange(meanwhile, {}))
            happens();
        if (method == failing)
            throw std::runtime_error(name_ + " fails");
    }
    template <class Answer>
    Answer noted(Answer answer, const std::string& method, const std::string& argument = {}) const {
        note(method, argument);
        return answer;
    }
    Info info() const {
        Info info;
        info.locale = name_;
        return info;
    }

    const std::string name_;
    const std::shared_ptr<Calls> calls_;
};

} // namespace zelkor::test
