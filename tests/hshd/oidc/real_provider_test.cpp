// Signing in at a provider that nobody here wrote.

#include "tests/hshd/oidc/ProviderFixture.h"

using namespace hshd::test;

namespace {

struct SignInAtProvider : ProviderFixture {
    SignInAtProvider() : ProviderFixture(R"({"deviceIntervalSeconds": 1})") {}
};

/// Tokens that end before anybody has looked twice.
struct ShortTokens : ProviderFixture {
    ShortTokens() : ProviderFixture(R"({"accessTokenSeconds": 2})") {}
    bool ended() { return state->accessToken(Level::None).status == 503; }
};

std::string filesOf(const fs::path& directory) {
    std::string all;
    for (const auto& entry : fs::directory_iterator(directory))
        all += contentOf(entry.path());
    return all;
}

} // namespace

TEST_F(SignInAtProvider, InTheBrowserGivesARecordAndATokenThatTheProviderTakes) {
    const auto [info, problem] = signIn();
    ASSERT_EQ(problem, "");
    EXPECT_EQ(info.userId, u"ada");
    EXPECT_EQ(info.displayName, u"Ada Example") << "which only userinfo tells";
    EXPECT_EQ(info.email, u"ada@example.org");
    EXPECT_EQ(info.level, Level::SignedIn);
    EXPECT_THAT(person.visits.at(0).get(), HasSubstr("Signed in as Ada Example."));
    EXPECT_TRUE(takes(token().token));

    const auto grant = state->signedIn()->grant;
    ASSERT_TRUE(grant && grant->refreshToken);
    const auto files = filesOf(directory.path());
    for (const auto& secret : {token().token.getTokenString(), std::string(grant->refreshToken.view()),
                               std::string(grant->idToken.view())}) {
        EXPECT_THAT(files, Not(HasSubstr(secret)));
        for (const auto& line : log.lines())
            EXPECT_THAT(line.text, Not(HasSubstr(secret)));
    }
    restart();
    EXPECT_TRUE(takes(token().token)) << "the session outlives the daemon";
}

TEST_F(SignInAtProvider, InARealBrowserWithoutAWarning) {
    const char* chosen = std::getenv("CHROMIUM");
    const fs::path browser = chosen ? chosen : "/usr/bin/chromium";
    if (!fs::exists(browser))
        GTEST_SKIP() << browser << " is not installed: ./zelkor test installs it";
    person.script = "";
    auto outcome = beginSignIn({Level::SignedIn, true, false, ""});
    std::string said;
    const auto picture = directory / "page.png";
    EXPECT_EQ(Script({"chromium.mjs", person.opened.at(0), "ada", picture}).wait(said), 0) << said;
    ASSERT_TRUE(comes(outcome));
    EXPECT_EQ(outcome.get().problem, "");
    EXPECT_THAT(contentOf(picture), StartsWith("\x89PNG"));
}

TEST_F(SignInAtProvider, ByACodeOnAnotherDeviceWithoutABrowser) {
    person.hasBrowser = false;
    const auto [info, problem] = signIn();
    ASSERT_EQ(problem, "");
    EXPECT_EQ(info.displayName, u"Ada Example");
    const auto code = person.codes.at(0);
    EXPECT_THAT(code.completeAddress, HasSubstr(code.code));
    EXPECT_TRUE(takes(token().token));
}

TEST_F(SignInAtProvider, AsksForWhatALevelTakesAndBelievesOnlyWhatTheProviderConfirms) {
    moreSettings = R"(, "levels": {"3": {"acr": ["urn:example:second-factor"]}})";
    restart();
    EXPECT_EQ(signIn().info.level, Level::SignedIn);
    const auto [info, problem] = signIn(Level::Confirmed);
    EXPECT_EQ(problem, "");
    EXPECT_EQ(info.level, Level::Confirmed);
    EXPECT_THAT(person.opened.at(1), HasSubstr("acr_values=urn%3Aexample%3Asecond-factor"));

    moreSettings = R"(, "levels": {"3": {"acr": ["urn:example:eye"]}})";
    restart();
    EXPECT_THAT(signIn(Level::Confirmed).problem, HasSubstr("confirmed less than level 3"));
    EXPECT_THAT(person.visits.back().get(), HasSubstr("You are not signed in"));
    EXPECT_THAT(signIn(static_cast<Level>(4)).problem, HasSubstr("says nothing of that level"));
}

TEST_F(SignInAtProvider, ThePersonCancelsAndNobodyIsSignedIn) {
    person.script = "";
    auto outcome = beginSignIn({Level::SignedIn, true, false, ""});
    const auto address = person.opened.at(0);
    std::string page;
    Script({"person.mjs", "--deny", address}).wait(page);
    ASSERT_TRUE(comes(outcome));
    EXPECT_EQ(outcome.get().problem, "The sign-in was cancelled at the provider.");

    auto aborted = beginSignIn({Level::SignedIn, true, false, ""});
    const auto second = person.opened.at(1);
    request->cancel("enough");
    EXPECT_EQ(aborted.get().problem, "enough");
    Script({"person.mjs", second}).wait(page);
    stateThread.drain();
    EXPECT_FALSE(state->isLoggedIn(Level::None));
    EXPECT_THAT(changes.all(), IsEmpty());
}

TEST_F(SignInAtProvider, ASignOutRevokesBothTokensAlsoWhenTheDaemonIsAnotherOne) {
    ASSERT_EQ(signIn().problem, "");
    const auto access = token().token.getTokenString();
    const auto refresh = std::string(state->signedIn()->grant->refreshToken.view());
    const auto active = [&](const std::string& given) {
        return ask("/token/introspection", "token=" + given,
                   "Basic aW50cm9zcGVjdG9yOmludHJvc3BlY3Rvci1zZWNyZXQ=");
    };
    EXPECT_THAT(active(refresh), HasSubstr(R"("active":true)"));
    oidc->stop(); // it ends before it has told the provider
    EXPECT_EQ(signOut(), "");
    EXPECT_FALSE(state->isLoggedIn(Level::None));
    EXPECT_EQ(state->revocations().size(), 2U);
    EXPECT_THAT(active(refresh), HasSubstr(R"("active":true)"));
    restart();
    EXPECT_TRUE(eventually([&] { return state->revocations().empty(); }));
    EXPECT_THAT(active(refresh), HasSubstr(R"("active":false)"));
    EXPECT_THAT(active(access), HasSubstr(R"("active":false)"));
}

TEST_F(ShortTokens, AreRenewedAheadOfTheirEndWithoutAnybodyAsking) {
    ASSERT_EQ(signIn().problem, "");
    const auto first = token().token;
    EXPECT_TRUE(eventually([&] { return count("refresh") >= 3; }));
    EXPECT_NE(token().token, first);
    EXPECT_TRUE(takes(token().token));
    EXPECT_EQ(changes.all().size(), 1U) << "a new token is no change of who is signed in";
    EXPECT_EQ(count("reuseDetected"), 0);
}

TEST_F(ShortTokens, AnEndThatManyAskAcrossCostsOneRenewal) {
    ASSERT_EQ(signIn().problem, "");
    control(R"({"fail": {"status": 503, "times": 1, "retryAfter": 60}})");
    ASSERT_TRUE(eventually([&] { return ended(); })) << "nothing renewed it in time";
    EXPECT_TRUE(state->isLoggedIn(Level::SignedIn)) << "what the network does signs nobody out";
    EXPECT_EQ(token().status, 503) << "the provider said when to come again";
    const auto before = count("refresh");
    restart(); // and this one has not been told
    std::vector<std::future<RequestAccessTokenResponse>> asked;
    for (int i = 0; i < 32; ++i)
        asked.push_back(std::async(std::launch::async, [this] { return token(); }));
    for (auto& one : asked)
        EXPECT_TRUE(one.get().token);
    EXPECT_EQ(count("refresh") - before, 1);
    EXPECT_TRUE(eventually([&] { return count("refresh") - before >= 2; })) << "the next one's turn";
    EXPECT_EQ(count("reuseDetected"), 0) << "and nobody asked with the old one meanwhile";
    EXPECT_TRUE(state->isLoggedIn(Level::SignedIn));
}

TEST_F(ShortTokens, ASessionEndsWhenTheProviderSaysSo) {
    ASSERT_EQ(signIn().problem, "");
    control(R"({"revokeGrants": true})");
    EXPECT_EQ(changes.at(1).previous.userId, u"ada");
    EXPECT_EQ(changes.at(1).current, LoginInfo());
    EXPECT_EQ(token().status, 401);
    EXPECT_FALSE(state->persistedLoginData().rememberMe);
    const auto lines = log.lines();
    EXPECT_TRUE(std::ranges::any_of(lines, [](const auto& line) {
        return line.text.find("has ended: the provider refused: invalid_grant") != std::string::npos;
    }));
    EXPECT_THAT(state->revocations(), IsEmpty()) << "there is nothing left to revoke";
}
