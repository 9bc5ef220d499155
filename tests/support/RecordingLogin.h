#pragma once

#include "tests/support/Recorded.h"

#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/detail/ZelkorLoginLNUSupport.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace zelkor::test {

using Calls = Recorded<std::string>;

/// Login services that note "<name>.<method>" and answer with what tells them from others: their name.
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

    std::string failing; ///< the method that throws
    Data persisted;
    login::detail::NegotiationsResult negotiated{true, {}, {}};
    std::string release;

    Info getLoginInfo(std::string requester, Info::Level level) const override {
        return noted(info(), "getLoginInfo", requester + std::to_string(static_cast<int>(level)));
    }
    Response requestAccessTokenAdvanced(std::string requester, Info::Level) override {
        return noted(Response{login::AccessToken(name_), 1}, "requestAccessTokenAdvanced", requester);
    }
    Response getAccessTokenAdvanced() override {
        return noted(Response{login::AccessToken(name_), 2}, "getAccessTokenAdvanced");
    }
    StatusListenerId addStatusListener(StatusListener) override {
        return noted(StatusListenerId(), "addStatusListener");
    }
    StatusListenerId addStatusListenerV2(StatusListenerV2) override {
        return noted(StatusListenerId(), "addStatusListenerV2");
    }
    bool removeStatusListener(StatusListenerId) override { return noted(true, "removeStatusListener"); }
    LogoutVetoerId addLogoutVetoer(LogoutVetoer) override {
        return noted(LogoutVetoerId(), "addLogoutVetoer");
    }
    bool removeLogoutVetoer(LogoutVetoerId) override { return noted(true, "removeLogoutVetoer"); }
    LogoutNegotiatorId addLogoutNegotiator(login::Negotiator negotiator) override {
        return noted(LogoutNegotiatorId(), "addLogoutNegotiator", negotiator.name);
    }
    bool removeLogoutNegotiator(LogoutNegotiatorId) override { return noted(true, "removeLogoutNegotiator"); }
    void impersonate(login::AccessToken token, Info) override { note("impersonate", token.getTokenString()); }

    std::string getEndpoint() override { return noted(name_, "getEndpoint"); }
    std::string getRelease() override { return noted(release, "getRelease"); }
    std::string getSourceId() override { return noted(name_, "getSourceId"); }
    Data getPersistedLoginData() override { return noted(persisted, "getPersistedLoginData"); }
    void persistIdentity(const Data& data) override {
        note("persistIdentity", std::to_string(static_cast<int>(data.info.level)));
    }
    void clearSettings() override { note("clearSettings"); }
    std::string getCurrentSessionId() override { return noted(name_, "getCurrentSessionId"); }
    bool isLogoutVetoed() override { return noted(true, "isLogoutVetoed"); }
    login::detail::NegotiationsResult negotiateLogout(const login::NegotiationTerms& terms) override {
        return noted(negotiated, "negotiateLogout", std::to_string(terms.value));
    }
    void completeLogout() override { note("completeLogout"); }
    Info getLoginInfoAndLogTELX(std::string, Info::Level, const std::string& context) override {
        return noted(info(), "getLoginInfoAndLogTELX", context);
    }

    void vetoSignIn(bool veto) override { note("vetoSignIn", veto ? "yes" : "no"); }
    bool shouldVetoSignIn() override { return noted(true, "shouldVetoSignIn"); }

    void setSourceId(const std::string& sourceId) override { note("setSourceId", sourceId); }

private:
    void note(const std::string& method, const std::string& argument = {}) const {
        calls_->add(name_ + "." + method + (argument.empty() ? "" : "(" + argument + ")"));
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
