// Requests of the interactive service, against a front and a client that do what a test tells them to.

#include "hshd/identity/accounts/AccountsProvider.h"
#include "hshd/identity/accounts/PasswordHash.h"
#include "hshd/services/InteractiveService.h"
#include "hshd/signin/UnattendedFront.h"
#include "hshd/state/sqlite/Database.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/Recorded.h"

using namespace hshd::test;
using hshd::InteractiveService;
using hshd::PersonsAnswer;

namespace {

/// Keeps the questions; a test answers them.
class FakeFront : public hshd::SignInFront {
public:
    bool supportsWebRedirect() const override { return true; }
    void askCredentials(const hshd::Client&, const hshd::CredentialQuestion& question,
                        Answered answered) override {
        asked_.add({question.account + "|" + question.message, std::move(answered)});
    }
    void askConsent(const hshd::Client&, const std::string& message, Answered answered) override {
        asked_.add({"|consent: " + message, std::move(answered)});
    }
    void openAddress(const hshd::Client&, const std::string&, Shown shown) override { shown(false, {}); }
    void showCode(const hshd::Client&, const hshd::DeviceCode&, Shown shown) override { shown(false, {}); }
    /// Waits for the question with that number, from 0.
    std::string question(std::size_t number) const { return asked_.at(number).first; }
    void answer(std::size_t number, PersonsAnswer answer) const {
        asked_.at(number).second(std::move(answer));
    }
    void type(std::size_t number, const std::string& account, const std::string& password) {
        answer(number, {"", account, hshd::Secret(password), false});
    }

private:
    Recorded<std::pair<std::string, Answered>> asked_;
};

struct SignIn : Test {
    Parts parts;
    FakeFront front;
    hshd::AccountsProvider provider{
        hshd::Accounts::parse(R"({"accounts": [{"name": "ada", "passwordHash": ")" +
                                  hshd::password::hash("right") + R"("}, {"name": "nopass"}]})",
                              "accounts"),
        front};
    InteractiveService service{
        {parts.state, parts.stateThread, parts.negotiators, provider, front, generous}};
    Peer peer{service};
    RecordingLog log;

    Recorded<GenericPayload> outcomes; ///< that the client was told

    SignIn() {
        peer.client->onAsked = [this](FakeClient::Asked& asked) { outcomes.add(std::move(asked.arguments)); };
    }
    ~SignIn() override {
        provider.stop();
        parts.stateThread.drain();
    }

    /// An outcome's error text.
    std::string told(std::size_t number) {
        const auto arguments = outcomes.at(number);
        return arguments.get<std::string>(arguments.size() - 1);
    }
};

} // namespace

TEST_F(SignIn, ThePersonHasThreeTriesAndIsToldNothingOfNames) {
    EXPECT_FALSE(peer.requestLogin(2, R"({"accountHint": "ada", "rememberMe": true})").error);
    EXPECT_EQ(front.question(0), "ada|");
    EXPECT_EQ(peer.requestLogin().error, ErrorKind::Refused) << "one at a time";
    front.type(0, "ada", "wrong");
    EXPECT_EQ(front.question(1), "ada|Wrong account name or password.");
    front.type(1, "ada", "right");
    EXPECT_EQ(told(0), "");
    EXPECT_EQ(outcomes.at(0).get<LoginInfo>(0).userId, u"ada");
    EXPECT_TRUE(parts.state.persistedLoginData().rememberMe);
    peer.requestLogin();
    EXPECT_EQ(told(1), "") << "who is signed in is not asked again";

    std::vector<std::string> endings;
    for (const char* account : {"ada", "nobody", "nopass"}) {
        const auto first = 2 + 3 * endings.size();
        peer.requestLogin(2, R"({"forcePrompt": true})");
        for (std::size_t i = 0; i < 3; ++i)
            front.type(first + i, account, "right!");
        endings.push_back(told(2 + endings.size()));
    }
    EXPECT_THAT(endings, Each("Wrong account name or password."));
    EXPECT_FALSE(log.mentions("right!"));
    EXPECT_FALSE(log.mentions("nobody"));
    peer.requestLogin(3);
    front.type(11, "ada", "right");
    EXPECT_THAT(told(5), HasSubstr("takes more than a password"));
}

TEST_F(SignIn, WhateverEndsItEndsItOnce) {
    peer.requestLogin();
    front.answer(0, {"Nobody answered in time.", "", {}, false});
    EXPECT_EQ(told(0), "Nobody answered in time.");
    peer.requestLogin();
    front.question(1);
    peer.call<void()>("abort");
    EXPECT_EQ(told(1), "The request was aborted.");
    front.type(1, "ada", "right"); // too late
    peer.requestLogin();
    front.question(2);
    service.onDisconnected(peer.client);
    EXPECT_EQ(told(2), "The program that asked is gone.");
    parts.state.vetoSignIn(true);
    peer.requestLogin();
    EXPECT_THAT(told(3), HasSubstr("vetoed"));
    EXPECT_EQ(peer.requestLogin(2, "[]").error, ErrorKind::Malformed);
    EXPECT_EQ(peer.requestLogin(2, R"({"rememberMe": 1})").error, ErrorKind::Malformed);
    provider.stop();
    EXPECT_EQ(outcomes.all().size(), 4u);
    EXPECT_EQ(parts.state.loginInfo(Level::SignedIn), LoginInfo());
}

TEST_F(SignIn, ASignOutIsNegotiatedAndThenThePersonsToDecide) {
    parts.state.signIn(identityOf(person(u"eve")), true);
    Peer other(parts, "other");
    other.negotiate("editor");
    const auto object = [&](std::size_t number) {
        ASSERT_GT(other.client->asked.size(), number);
        other.client->asked[number].handler.onValue(
            GenericPayload::of(NegotiatorResponse{login::Negotiator::Position::Object, u"unsaved"}));
    };
    peer.requestLogout(R"({"askConsent": false})");
    object(0);
    EXPECT_EQ(told(0), "The sign-out is refused: unsaved");
    peer.requestLogout();
    object(1);
    EXPECT_EQ(front.question(0), "|consent: unsaved");
    front.answer(0, {"", "", {}, false});
    EXPECT_EQ(told(1), "The person chose to stay signed in.");
    EXPECT_EQ(parts.state.loginInfo(Level::SignedIn), person(u"eve"));
    peer.requestLogout();
    object(2);
    front.answer(1, {"", "", {}, true});
    EXPECT_EQ(told(2), "");
    EXPECT_EQ(parts.state.loginInfo(Level::SignedIn), LoginInfo());
    EXPECT_TRUE((peer.call<bool()>("supportsWebRedirect").as<bool>()));
}

TEST_F(SignIn, ASignOutThatCannotBeSavedWholeChangesNothing) {
    LoginData data = dataOf(person(u"ada"));
    data.endpoint = "https://adas.example";
    parts.state.persistIdentity(data);
    hshd::sqlite::Database saboteur(parts.directory / hshd::StateStore::fileName);
    saboteur.execute("CREATE TRIGGER no BEFORE INSERT ON setting WHEN NEW.name = 'endpoint' AND "
                     "length(NEW.value) = 0 BEGIN SELECT raise(FAIL, 'disk on fire'); END");
    peer.requestLogout(R"({"forgetAccount": true})");
    EXPECT_THAT(told(0), HasSubstr("nothing was changed"));
    EXPECT_EQ(parts.state.loginInfo(Level::SignedIn), person(u"ada"));
    EXPECT_EQ(parts.state.persistedLoginData(), data);
}

TEST_F(SignIn, ANameThatIsTooLongIsNoneAndGuessersStandInOneQueue) {
    peer.requestLogin();
    front.type(0, std::string(900'000, 'x'), "right");
    EXPECT_EQ(told(0), "An account name has at most 256 bytes.");
    // Many at once: each is one more client, and none waits for another's failure.
    std::vector<std::unique_ptr<Peer>> peers;
    std::atomic<int> refused{0};
    for (std::size_t i = 0; i < 20; ++i) {
        auto& guesser = *peers.emplace_back(std::make_unique<Peer>(service, "guesser" + std::to_string(i)));
        guesser.client->onAsked = [&](FakeClient::Asked& asked) {
            refused += asked.arguments.get<std::string>(1).starts_with("Too many tries");
        };
        guesser.requestLogin();
        front.type(1 + i, "ada", "guess");
    }
    EXPECT_GE(refused, 11); // of 20; the others wait their turns, the last one for half a minute
    provider.stop();
}

TEST(UnattendedFront, TakesItsAnswersFromAPrivateFileOnly) {
    TempDirectory directory;
    const auto file = directory.path() / "answers.json";
    std::ofstream(file) << R"({"account": "ada", "password": "p"})";
    fs::permissions(file, fs::perms::owner_all);
    EXPECT_NO_THROW(hshd::UnattendedFront::fromFile(file));
    fs::permissions(file, fs::perms::group_read, fs::perm_options::add);
    EXPECT_THROW(hshd::UnattendedFront::fromFile(file), std::runtime_error);
}

TEST(SignInThrottle, HoldsRepeatedFailuresBackAndForgetsThem) {
    auto now = hshd::SignInThrottle::Clock::now();
    hshd::SignInThrottle throttle([&now] { return now; });
    const auto fail = [&](const std::string& name) {
        const auto turn = throttle.next(name);
        now += turn->delay();
        turn->failed();
        return turn->delay();
    };
    std::vector<milliseconds> delays;
    for (int i = 0; i < 10; ++i)
        delays.push_back(fail("ada"));
    EXPECT_THAT(delays, ElementsAre(0ms, 0ms, 0ms, 1s, 2s, 4s, 8s, 16s, 30s, 30s));
    EXPECT_EQ(throttle.next("bob")->delay(), 0ms);
    now += 11min;
    EXPECT_EQ(throttle.next("ada")->delay(), 0ms);
    for (int i = 0; i < 4; ++i)
        fail("ada");
    throttle.next("ada")->succeeded();
    EXPECT_EQ(throttle.next("ada")->delay(), 0ms);

    // As many at once gain nothing, and neither do those who give up.
    std::vector<std::shared_ptr<hshd::SignInThrottle::Try>> atOnce;
    while (auto turn = throttle.next("eve"))
        atOnce.push_back(std::move(turn));
    EXPECT_EQ(atOnce.size(), 8u);
    EXPECT_EQ(atOnce.back()->delay(), 31s);
    atOnce.clear();
    EXPECT_EQ(throttle.next("eve")->delay(), 0ms);
    // Names that are made up do not wash out the one that is guessed at, nor give it a fresh queue.
    for (int i = 0; i < 5; ++i)
        fail("ada");
    for (int i = 0; i < 20'000; ++i) {
        if (const auto turn = throttle.next("made up " + std::to_string(i)))
            turn->failed();
    }
    EXPECT_GE(throttle.next("ada")->delay(), 1s);
    const auto newcomer = throttle.next("a name of its own");
    EXPECT_TRUE(!newcomer || newcomer->delay() >= 1s);
}
