#include "tests/unit/daemon/Fakes.h"

#include <boost/type_index/ctti_type_index.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

using namespace hshd::test;
using boost::uuids::uuid;
using core::ErrorKind;
using core::ExportedCallback;
using core::GenericPayload;
using hshd::LoginState;
using login::LoginInfo;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using testing::AllOf;
using testing::HasSubstr;

namespace {

template <class T>
std::string key() {
    return std::to_string(boost::typeindex::ctti_type_index::type_id<T>().hash_code());
}

/// What clients send, from "return" on, by name; upper-case letters stand for types' keys.
const std::map<std::string, std::string> vocabulary{
    {"getLoginInfo", R"({"L":0,"arguments":[{"string":0},{"I":1,]})"},
    {"getLoginInfoAndLogTELX", R"({"L":0,"arguments":[{"string":0},{"I":1,{"string":2},]})"},
    {"requestAccessToken", R"({"A":0,"arguments":[{"string":0},{"I":1,]})"},
    {"getAccessToken", R"({"A":0,"arguments":[]})"},
    {"isLoggedIn", R"({"bool":0},"arguments":[{"string":0},{"I":1,]})"},
    {"impersonate", R"({"void":0},"arguments":[{"string":0},{"L":1,]})"},
    {"getEndpoint", R"({"string":0},"arguments":[]})"},
    {"getRelease", R"({"string":0},"arguments":[]})"},
    {"getSourceId", R"({"string":0},"arguments":[]})"},
    {"getCurrentSessionId", R"({"string":0},"arguments":[]})"},
    {"getPersistedLoginData", R"({"D":0,"arguments":[]})"},
    {"persistIdentity", R"({"void":0},"arguments":[{"D":0,]})"},
    {"clearSettings", R"({"void":0},"arguments":[]})"},
    {"completeLogout", R"({"void":0},"arguments":[]})"},
    {"negotiateLogout", R"({"R":0,"arguments":[{"T":0,"types":[{"N":0]},]})"},
    {"vetoSignIn", R"({"void":0},"arguments":[{"bool":0},]})"},
    {"shouldVetoSignIn", R"({"bool":0},"arguments":[]})"},
    {"addStatusListener", R"({"U":0,"arguments":[{"C":0,]})"},
    {"removeStatusListener", R"({"bool":0},"arguments":[{"U":0,]})"},
    {"addLogoutNegotiator", R"({"U":0,"arguments":[{"string":0},{"C":1,]})"},
    {"removeLogoutNegotiator", R"({"bool":0},"arguments":[{"U":0,]})"},
};

std::string descriptorOf(const std::string& name) {
    const std::map<char, std::string> keys{{'L', key<LoginInfo>()},
                                           {'A', key<RequestAccessTokenResponse>()},
                                           {'D', key<LoginData>()},
                                           {'R', key<login::detail::NegotiationsResult>()},
                                           {'T', key<login::NegotiationTerms>()},
                                           {'N', key<unsigned>()},
                                           {'U', key<uuid>()},
                                           {'C', key<ExportedCallback>()},
                                           {'I', key<int>()}};
    std::string text;
    for (const char c : vocabulary.at(name))
        text += keys.contains(c) ? keys.at(c) : std::string(1, c);
    return "{\"name\":\"" + name + "\",\"return\":" + text;
}

} // namespace

TEST(Vocabulary, EveryMethodIsKnownUnderItsSignatureAndNoOther) {
    Parts parts;
    Peer peer(parts);
    EXPECT_EQ(hshd::LoginServiceV2::methods().size(), vocabulary.size());
    for (const auto& [name, signature] : vocabulary) {
        // Too many arguments: far enough to see that the signature is accepted.
        const auto tooMany = GenericPayload::of(1, 2, 3, 4);
        EXPECT_EQ(waitFor(peer.send(name, descriptorOf(name), tooMany)).error, ErrorKind::Malformed) << name;
        const Outcome refused = waitFor(peer.send(name, R"({"name":"other"})", {}));
        EXPECT_EQ(refused.error, ErrorKind::Refused);
        EXPECT_THAT(refused.text, AllOf(HasSubstr("`" + name + "`"), HasSubstr(descriptorOf(name)),
                                        HasSubstr(R"({"name":"other"})")));
    }
}

TEST(Vocabulary, WhatDoesNotFitIsRefusedWithAReason) {
    Parts parts;
    Peer peer(parts);
    const Outcome unknown = peer.call<bool()>("isLogoutVetoed");
    EXPECT_EQ(unknown.error, ErrorKind::Refused);
    EXPECT_THAT(unknown.text, AllOf(HasSubstr("ZelkorLogin 2.1"), HasSubstr("`isLogoutVetoed`"),
                                    HasSubstr(R"("return":{"bool":0})")));
    const std::string huge(1U << 18U, 'x');
    EXPECT_LT(waitFor(peer.send(huge, huge, {})).text.size(), 4096U)
        << "a peer must not get back all it sent";

    const Outcome otherType = waitFor(
        peer.send("impersonate", descriptorOf("impersonate"), GenericPayload::of(std::string("secret"), 5)));
    EXPECT_EQ(otherType.error, ErrorKind::Malformed);
    EXPECT_EQ(otherType.text, "argument 1 of `impersonate` is not of the type that its descriptor says");

    const auto bad = exported<bool()>();
    EXPECT_THAT(peer.call<uuid(ExportedCallback)>("addStatusListener", bad).text,
                HasSubstr("expected descriptor"));
    EXPECT_EQ(
        peer.call<uuid(std::string, ExportedCallback)>("addLogoutNegotiator", std::string("n"), bad).error,
        ErrorKind::Refused);
    EXPECT_TRUE(parts.listeners.all().empty() && parts.negotiators.all().empty());
}

TEST(Vocabulary, QueriesAnswerFromTheState) {
    Parts parts;
    Peer peer(parts);
    const std::string app = "app";
    EXPECT_EQ(peer.ask<RequestAccessTokenResponse()>("getAccessToken").status, 401);
    LoginData data;
    data.info = person(u"ada");
    data.deviceId = "device";
    peer.call<void(LoginData)>("persistIdentity", data);
    EXPECT_EQ(peer.ask<RequestAccessTokenResponse()>("getAccessToken"),
              parts.state.accessToken(LoginState::Level(2)));
    EXPECT_EQ(peer.ask<std::string()>("getEndpoint"), "https://configured.example");
    EXPECT_EQ(peer.ask<std::string()>("getRelease"), hshd::release());
    EXPECT_EQ(peer.ask<std::string()>("getSourceId"), parts.state.sourceId());
    EXPECT_EQ(peer.ask<std::string()>("getCurrentSessionId"), parts.state.sessionId());
    EXPECT_EQ(peer.ask<LoginData()>("getPersistedLoginData"), data);
    EXPECT_EQ((peer.ask<LoginInfo(std::string, int, std::string)>("getLoginInfoAndLogTELX", app, 2, app)),
              data.info);
    EXPECT_TRUE((peer.ask<bool(std::string, int)>("isLoggedIn", app, 2)));
    EXPECT_FALSE((peer.ask<bool(std::string, int)>("isLoggedIn", app, 3)));
    peer.call<void()>("clearSettings");
    peer.call<void(bool)>("vetoSignIn", true);
    EXPECT_TRUE(peer.ask<bool()>("shouldVetoSignIn"));
    EXPECT_EQ(parts.state.persistedLoginData(), LoginData());
}
