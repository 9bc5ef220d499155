#include "hshd/services/PromptService.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/Vocabulary.h"

using namespace hshd::test;

namespace {

// Who answers a method has its signature, or there is no row.
struct Handlers {
    bool plain(const std::string&, int) const;
    bool forClient(const hshd::Client&, std::string, int);
    void later(const std::string&, int, hshd::LaterAnswer<bool>);
    int otherResult(std::string, int);
    bool otherArgument(std::string, long);
    bool oneMissing(std::string);
    void answersLaterElsewise(std::string, int, hshd::LaterAnswer<int>);
};
constexpr agent::spf::cppmsclientutils::RemoteMethod<bool(std::string, int)> method{"method", 1s};
template <auto Handler>
concept Answers = requires {
    hshd::MethodsOf<Handlers>::atOnce<Handler>(method);
};
static_assert(Answers<&Handlers::plain> && Answers<&Handlers::forClient> && Answers<&Handlers::later>);
static_assert(!Answers<&Handlers::otherResult> && !Answers<&Handlers::otherArgument> &&
              !Answers<&Handlers::oneMissing> && !Answers<&Handlers::answersLaterElsewise>);

struct Vocabulary : Test {
    Parts parts;
    Peer peer{parts};
    std::map<std::string, Row> vocabulary = goldenVocabulary("ZelkorLogin-v2.1");
};

TEST_F(Vocabulary, WhatDoesNotFitIsRefusedWithAReason) {
    const Outcome unknown = peer.call<bool()>("isLogoutVetoed");
    EXPECT_EQ(unknown.error, ErrorKind::Refused);
    EXPECT_THAT(unknown.text, AllOf(HasSubstr("ZelkorLogin 2.1"), HasSubstr("`isLogoutVetoed`"),
                                    HasSubstr(R"("return":{"bool":0})")));
    const auto& known = vocabulary.at("getLoginInfo").descriptor;
    EXPECT_EQ(waitFor(peer.send("getLoginInfo", known, GenericPayload::of(1, 2, 3, 4))).error,
              ErrorKind::Malformed);
    const Outcome otherSignature = waitFor(peer.send("getLoginInfo", R"({"name":"other"})", {}));
    EXPECT_EQ(otherSignature.error, ErrorKind::Refused);
    EXPECT_THAT(otherSignature.text,
                AllOf(HasSubstr("`getLoginInfo`"), HasSubstr(known), HasSubstr(R"({"name":"other"})")));
    const std::string huge(1U << 18U, 'x');
    EXPECT_LT(waitFor(peer.send(huge, huge, {})).text.size(), 4096U)
        << "a peer must not get back all it sent";

    const Outcome otherType = waitFor(peer.send("impersonate", vocabulary.at("impersonate").descriptor,
                                                GenericPayload::of(std::string("secret"), 5)));
    EXPECT_EQ(otherType.error, ErrorKind::Malformed);
    EXPECT_EQ(otherType.text, "argument 1 of `impersonate` is not of the type that its descriptor says");

    const auto bad = exported<bool()>();
    EXPECT_THAT(peer.call<uuid(ExportedCallback)>("addStatusListener", bad).text,
                HasSubstr("expected descriptor"));
    const auto added =
        peer.call<uuid(std::string, ExportedCallback)>("addLogoutNegotiator", std::string("n"), bad);
    EXPECT_EQ(added.error, ErrorKind::Refused);
    hshd::Registrations prompts;
    hshd::PromptService service(prompts, parts.stateThread);
    Peer asking(service);
    EXPECT_EQ(asking.call<uuid(ExportedCallback)>("addPrompt", bad).error, ErrorKind::Refused);
    EXPECT_TRUE(parts.listeners.all().empty() && parts.negotiators.all().empty() && prompts.all().empty());
}

TEST_F(Vocabulary, QueriesAnswerFromTheState) {
    const std::string app = "app";
    EXPECT_EQ(peer.ask<RequestAccessTokenResponse>("getAccessToken").status, 401);
    const LoginData data = dataOf(person(u"ada"));
    peer.call<void(LoginData)>("persistIdentity", data);
    EXPECT_EQ(peer.ask<RequestAccessTokenResponse>("getAccessToken"), parts.state.accessToken(Level(2)));
    EXPECT_EQ(peer.ask<std::string>("getEndpoint"), "https://configured.example");
    EXPECT_EQ(peer.ask<std::string>("getRelease"), hshd::release());
    EXPECT_EQ(peer.ask<std::string>("getSourceId"), parts.state.sourceId());
    EXPECT_EQ(peer.ask<std::string>("getCurrentSessionId"), parts.state.sessionId());
    EXPECT_EQ(peer.ask<LoginData>("getPersistedLoginData"), data);
    EXPECT_EQ(peer.ask<LoginInfo>("getLoginInfoAndLogTELX", app, 2, app), data.info);
    EXPECT_TRUE(peer.ask<bool>("isLoggedIn", app, 2));
    EXPECT_FALSE(peer.ask<bool>("isLoggedIn", app, 3));
    peer.call<void()>("clearSettings");
    peer.call<void(bool)>("vetoSignIn", true);
    EXPECT_TRUE(peer.ask<bool>("shouldVetoSignIn"));
    EXPECT_EQ(parts.state.persistedLoginData(), LoginData());
}

} // namespace
