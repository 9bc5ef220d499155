#pragma once

#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/detail/ZelkorLoginLNUSupport.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zelkor::test {

/// What was called, on any of those that share it.
class Calls {
public:
    void add(std::string call) {
        const std::scoped_lock lock(mutex_);
        calls_.push_back(std::move(call));
    }
    std::vector<std::string> take() {
        const std::scoped_lock lock(mutex_);
        return std::exchange(calls_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::string> calls_;
};

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
        note("getLoginInfo", requester + std::to_string(static_cast<int>(level)));
        return info();
    }
    Response requestAccessTokenAdvanced(std::string requester, Info::Level) override {
        note("requestAccessTokenAdvanced", requester);
        return {login::AccessToken(name_), 1};
    }
    Response getAccessTokenAdvanced() override {
        note("getAccessTokenAdvanced");
        return {login::AccessToken(name_), 2};
    }
    StatusListenerId addStatusListener(StatusListener) override {
        note("addStatusListener");
        return {};
    }
    StatusListenerId addStatusListenerV2(StatusListenerV2) override {
        note("addStatusListenerV2");
        return {};
    }
    bool removeStatusListener(StatusListenerId) override { return note("removeStatusListener"); }
    LogoutVetoerId addLogoutVetoer(LogoutVetoer) override {
        note("addLogoutVetoer");
        return {};
    }
    bool removeLogoutVetoer(LogoutVetoerId) override { return note("removeLogoutVetoer"); }
    LogoutNegotiatorId addLogoutNegotiator(login::Negotiator negotiator) override {
        note("addLogoutNegotiator", negotiator.name);
        return {};
    }
    bool removeLogoutNegotiator(LogoutNegotiatorId) override { return note("removeLogoutNegotiator"); }
    void impersonate(login::AccessToken token, Info) override { note("impersonate", token.getTokenString()); }

    std::string getEndpoint() override { return named("getEndpoint"); }
    std::string getRelease() override {
        note("getRelease");
        return release;
    }
    std::string getSourceId() override { return named("getSourceId"); }
    Data getPersistedLoginData() override {
        note("getPersistedLoginData");
        return persisted;
    }
    void persistIdentity(const Data& data) override {
        note("persistIdentity", std::to_string(static_cast<int>(data.info.level)));
    }
    void clearSettings() override { note("clearSettings"); }
    std::string getCurrentSessionId() override { return named("getCurrentSessionId"); }
    bool isLogoutVetoed() override { return note("isLogoutVetoed"); }
    login::detail::NegotiationsResult negotiateLogout(const login::NegotiationTerms& terms) override {
        note("negotiateLogout", std::to_string(terms.value));
        return negotiated;
    }
    void completeLogout() override { note("completeLogout"); }
    Info getLoginInfoAndLogTELX(std::string, Info::Level, const std::string& context) override {
        note("getLoginInfoAndLogTELX", context);
        return info();
    }

    void vetoSignIn(bool veto) override { note("vetoSignIn", veto ? "yes" : "no"); }
    bool shouldVetoSignIn() override { return note("shouldVetoSignIn"); }

    void setSourceId(const std::string& sourceId) override { note("setSourceId", sourceId); }

private:
    bool note(const std::string& method, const std::string& argument = {}) const {
        calls_->add(name_ + "." + method + (argument.empty() ? "" : "(" + argument + ")"));
        if (method == failing)
            throw std::runtime_error(name_ + " fails");
        return true;
    }
    std::string named(const std::string& method) const {
        note(method);
        return name_;
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
