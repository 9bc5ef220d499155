// Providers that misbehave, each in one way: nobody is signed in, the person is told why, and nothing leaks.

#include "tests/hshd/oidc/ProviderFixture.h"

using namespace hshd::test;

namespace {

struct Misbehaviour {
    const char* how;
    const char* problem; ///< a part of what is said; empty: the sign-in goes well
};

struct MisbehavingProvider : ProviderFixture, WithParamInterface<Misbehaviour> {
    void SetUp() override {
        if (!Script::installed())
            GTEST_SKIP() << "there is no Node: ./zelkor test installs it";
        const std::string_view how = GetParam().how;
        if (how == "silent" || how == "another-state" || how == "another-path")
            signInLimit = milliseconds(1500);
        startProvider({"misbehaving.mjs", R"({"how": ")" + std::string(how) + R"("})"});
    }
};

constexpr Misbehaviour all[] = {
    {"nothing", ""},
    {"PS256", ""},
    {"ES256", ""},
    {"EdDSA", ""},
    {"rotated-key", ""},
    {"none", "signed with `none`"},
    {"HS256", "signed with `HS256`"},
    {"unknown-key", "a key that the provider does not publish"},
    {"wrong-signature", "its signature is wrong"},
    {"weak-key", "less than 2048 bits"},
    {"critical", "critical extensions"},
    {"wrong-issuer", "it is of another issuer: https://elsewhere.example"},
    {"wrong-audience", "made for another client"},
    {"wrong-party", "made for another client"},
    {"two-audiences", "made for another client"},
    {"expired", "it has ended; is this machine's clock right?"},
    {"future", "made in the future"},
    {"nobody", "it names nobody"},
    {"wrong-nonce", "it belongs to another request"},
    {"no-nonce", "it belongs to another request"},
    {"wrong-hash", "it belongs to another access token"},
    {"no-id-token", "gave no ID token"},
    {"strange-type", "no access token of a known type"},
    {"another-person", "another person than the one who signed in"},
    {"another-issuer", "The answer comes from another provider"},
    {"unnamed", "The answer comes from another provider"},
    {"another-state", "Nobody signed in in time."},
    {"another-path", "Nobody signed in in time."},
    {"used", "invalid_grant (the code was?[2J used)"},
    {"500", "status 500"},
    {"429", "status 429"},
    {"redirected", "sends the request elsewhere (elsewhere.example), which is not followed"},
    {"cut-off", "127.0.0.1: "},
    {"huge", "more than 1048576 bytes"},
    {"no-json", "is no JSON object"},
    {"silent", "Nobody signed in in time."},
    {"described-otherwise", "both must be the same to the letter"},
    {"clear-text", "`token_endpoint` is no https address"},
    {"plain-challenges", "S256"},
};

} // namespace

TEST_P(MisbehavingProvider, IsNotBelieved) {
    const auto [info, problem] = signIn();
    for (auto& visit : person.visits)
        visit.wait();
    stateThread.drain();
    if (*GetParam().problem == '\0') {
        EXPECT_EQ(problem, "");
        EXPECT_EQ(info.email, u"ada@example.org");
        EXPECT_EQ(token().token, AccessToken("secret-access"));
    } else {
        EXPECT_THAT(problem, HasSubstr(GetParam().problem));
        EXPECT_FALSE(state->isLoggedIn(Level::None));
        EXPECT_THAT(changes.all(), IsEmpty());
    }
    for (const auto& line : log.lines())
        EXPECT_THAT(line.text, Not(HasSubstr("secret-")));
    EXPECT_THAT(problem, Not(HasSubstr("secret-")));
}

INSTANTIATE_TEST_SUITE_P(Oidc, MisbehavingProvider, ValuesIn(all), [](const auto& tried) {
    std::string name = tried.param.how;
    std::ranges::replace(name, '-', '_');
    return name;
});
