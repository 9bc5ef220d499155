#include "hshd/services/Negotiation.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/Recorded.h"

using namespace hshd::test;

namespace {

const NegotiationsResult nobodyObjects{true, {}, {}};

struct LoginService : Test {
    Parts parts;
    RecordingLog log;
};
using LogoutNegotiation = LoginService;
using LoginServiceConcurrency = LoginService;

std::vector<std::u16string> toldTo(const Peer& peer) {
    std::vector<std::u16string> told;
    for (const auto& asked : peer.client->asked)
        told.push_back(asked.arguments.get<LoginInfo>(1).userId + u">" +
                       asked.arguments.get<LoginInfo>(0).userId);
    return told;
}
void answer(FakeClient::Asked& asked, std::int32_t decision, std::u16string message = {}) {
    asked.handler.onValue(GenericPayload::of(
        NegotiatorResponse{static_cast<login::Negotiator::Position>(decision), std::move(message)}));
}
void failWith(FakeClient::Asked& asked, ErrorKind kind, const std::string& text) {
    asked.handler.onError(core::makeInvocationError(kind, text));
}

} // namespace

TEST_F(LoginService, RegistrationsBelongToTheirClientAndEndWithIt) {
    Peer one(parts, "one"), two(parts, "two");
    const uuid first = one.listen();
    one.listen();
    const uuid others = two.listen();
    one.negotiate("n");
    EXPECT_FALSE(two.remove("removeStatusListener", first)) << "another client's";
    EXPECT_FALSE(one.remove("removeLogoutNegotiator", first)) << "of another kind";
    EXPECT_FALSE(one.remove("removeStatusListener", login::detail::createUuid()));
    EXPECT_TRUE(one.remove("removeStatusListener", first));
    EXPECT_FALSE(one.remove("removeStatusListener", first));

    ASSERT_EQ(two.impersonate("t", person(u"ada")).text, "");
    EXPECT_THAT(toldTo(one), ElementsAre(u">ada"));
    EXPECT_THAT(toldTo(two), ElementsAre(u">ada"));
    parts.service.onDisconnected(two.client);
    parts.service.onDisconnected(two.client); // nothing left to drop
    ASSERT_EQ(one.impersonate("t", person(u"eve")).text, "");
    EXPECT_THAT(toldTo(one), ElementsAre(u">ada", u"ada>eve"));
    EXPECT_EQ(two.client->asked.size(), 1U);
    EXPECT_FALSE(two.remove("removeStatusListener", others));
    parts.service.onDisconnected(one.client);
    EXPECT_TRUE(parts.listeners.all().empty() && parts.negotiators.all().empty());
}

TEST_F(LoginService, AListenerThatFailsOrNeverEndsKeepsNobodyFromBeingTold) {
    Peer bad(parts, "bad"), good(parts, "good");
    bad.listen();
    good.listen();
    ASSERT_EQ(good.impersonate("t", person(u"ada")).text, "");
    bad.call<void()>("completeLogout");
    EXPECT_THAT(toldTo(good), ElementsAre(u">ada", u"ada>"));
    ASSERT_THAT(toldTo(bad), ElementsAre(u">ada", u"ada>"));
    failWith(bad.client->asked[0], ErrorKind::Timeout, "overdue");
    failWith(bad.client->asked[1], ErrorKind::Remote, "thrown: secret");
    EXPECT_EQ(log.mentions("client bad (process 4711) was not told"), 2U);
    EXPECT_EQ(log.mentions("did not end in time"), 1U);
    EXPECT_FALSE(log.mentions("secret"));
}

TEST_F(LoginService, AListenerThatWasNotToldIsToldTheNewestStateLater) {
    Peer peer(parts);
    Recorded<FakeClient::Asked> tellings;
    peer.client->onAsked = [&](FakeClient::Asked& asked) { tellings.add(std::move(asked)); };
    peer.listen();
    auto next = [&, number = std::size_t(0)](const std::u16string& now,
                                             const std::u16string& before) mutable {
        auto asked = tellings.at(number++);
        EXPECT_EQ(asked.arguments.get<LoginInfo>(0).userId, now);
        EXPECT_EQ(asked.arguments.get<LoginInfo>(1).userId, before);
        return asked;
    };
    peer.impersonate("t", person(u"ada"));
    peer.impersonate("t", person(u"eve"));
    auto superseded = next(u"ada", u"");
    auto last = next(u"eve", u"ada");
    failWith(superseded, ErrorKind::Refused, "too large"); // the last one makes up for it
    failWith(last, ErrorKind::Refused, "too large");
    last = next(u"eve", u"");
    failWith(last, ErrorKind::Refused, "no room");
    superseded = next(u"eve", u"");
    peer.impersonate("t", person(u"bob"));
    failWith(superseded, ErrorKind::Timeout, "overdue");
    last = next(u"bob", u"eve");
    failWith(last, ErrorKind::Timeout, "overdue");
    last = next(u"bob", u"");
    EXPECT_GT(last.timeout, generous) << "who needs longer gets there";
    last.handler.onValue({});
    EXPECT_EQ(log.mentions("not told of a change"), 3U) << "only changes are mentioned";
    peer.impersonate("t", person(u"ada"));
    last = next(u"ada", u"bob");
    failWith(last, ErrorKind::Withdrawn, "unknown");
    EXPECT_TRUE(parts.listeners.all().empty());
    EXPECT_EQ(tellings.take().size(), 7U);
}

TEST_F(LoginService, ACommandWhoseCallerHasGivenUpIsNotCarriedOut) {
    const std::string descriptor = core::SignatureDescriptor::of<void(bool)>().named("vetoSignIn");
    const auto late = waitFor(Peer(parts).send("vetoSignIn", descriptor, GenericPayload::of(true), 0ms));
    EXPECT_EQ(late.error, ErrorKind::Timeout);
    Peer gone(parts);
    gone.client->isConnected = false;
    EXPECT_EQ((gone.call<void(bool)>("vetoSignIn", true).error), ErrorKind::Timeout);
    EXPECT_FALSE(parts.state.signInVetoed());
}

TEST_F(LogoutNegotiation, CollectsAnswersInTheOrderOfRegistration) {
    Peer one(parts, "one"), two(parts, "two");
    EXPECT_EQ(waitFor(two.negotiateLogout(7)).as<NegotiationsResult>(), nobodyObjects);

    for (const char* name : {"a", "b", "c", "d"})
        (*name == 'b' ? two : one).negotiate(name);
    auto pending = two.negotiateLogout(7, 10s);
    auto& asked = one.client->asked;
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(asked[0].arguments.get<NegotiationTerms>(0), NegotiationTerms{7});
    EXPECT_LE(asked[0].timeout, 9s) << "the answer must still reach the caller";
    EXPECT_GT(asked[0].timeout, 0s);
    answer(asked[1], 0, u"c objects");
    answer(asked[2], 9, u"d is from the future");
    answer(two.client->asked[0], 1, u"b asks");
    EXPECT_EQ(pending.wait_for(0s), std::future_status::timeout) << "one answer is still missing";
    answer(asked[0], 0);
    EXPECT_EQ(waitFor(std::move(pending)).as<NegotiationsResult>(),
              (NegotiationsResult{false, {u"", u"c objects"}, {u"b asks", u"d is from the future"}}));
}

TEST_F(LogoutNegotiation, WhoGivesNoAnswerObjectsUnlessItIsGone) {
    Peer peer(parts), other(parts, "other");
    for (const char* name : {"content", "slow", "broken", "busy", "odd", "mute", "cut off", "withdrawn"})
        peer.negotiate(name);
    const uuid removed = peer.negotiate("removed");
    other.negotiate("other's");
    auto pending = peer.negotiateLogout(1);
    auto& asked = peer.client->asked;
    ASSERT_EQ(asked.size(), 9U);
    answer(asked[0], 2, u"fine");
    failWith(asked[1], ErrorKind::Timeout, "overdue");
    failWith(asked[2], ErrorKind::Remote, "secret");
    failWith(asked[3], ErrorKind::Refused, "too many");
    asked[4].handler.onValue(GenericPayload::of(17));
    asked[5].handler.onValue({});
    failWith(asked[6], ErrorKind::Disconnected, "for a moment");
    failWith(asked[7], ErrorKind::Withdrawn, "unknown");
    EXPECT_TRUE(peer.remove("removeLogoutNegotiator", removed));
    failWith(asked[8], ErrorKind::Timeout, "overdue");
    other.client->isConnected = false; // its registrations end a moment later
    failWith(other.client->asked[0], ErrorKind::Disconnected, "gone");
    EXPECT_EQ(waitFor(std::move(pending)).as<NegotiationsResult>(),
              (NegotiationsResult{false,
                                  {u"slow did not answer in time", u"broken failed",
                                   u"busy could not be asked", u"odd gave an answer that cannot be read",
                                   u"mute gave an answer that cannot be read", u"cut off could not be asked"},
                                  {}}));
    for (const char* line : {"`content` of client client (process 4711) accepts",
                             "(process 4711) did not answer in time, which counts as an objection",
                             "`withdrawn` of client client (process 4711) is gone and has no say",
                             "`removed`", "`other's`", "asked 10, not accepted"})
        EXPECT_TRUE(log.mentions(line)) << line;
    EXPECT_FALSE(log.mentions("secret"));
    EXPECT_EQ(parts.negotiators.all().size(), 8U) << "only who is gone is forgotten";
}

TEST_F(LoginServiceConcurrency, ClientsComeAndGoWhileTheStateChanges) {
    constexpr int rounds = 10;
    std::atomic<int> told = 0;
    const auto comeAndGo = [&](const std::u16string& name) {
        Peer peer(parts);
        peer.client->onAsked = [&](FakeClient::Asked& asked) {
            ++told;
            answer(asked, 2);
        };
        const uuid id = peer.listen();
        peer.negotiate("n");
        EXPECT_EQ(peer.impersonate("t", person(name)).text, "");
        // Whoever is signed in by now, it is one whole state.
        const auto info = peer.ask<LoginInfo>("getLoginInfo", std::string(), 2);
        EXPECT_EQ(info, person(info.userId));
        EXPECT_TRUE(waitFor(peer.negotiateLogout(1)).as<NegotiationsResult>().accepted);
        EXPECT_TRUE(peer.remove("removeStatusListener", id));
        parts.service.onDisconnected(peer.client);
    };
    startThreads(4, [&](int i) {
        for (int round = 0; round < rounds; ++round)
            comeAndGo(std::u16string(1, static_cast<char16_t>(u'a' + i)));
    });
    EXPECT_GE(told, 4 * rounds * 2) << "each was told of its own change, and asked by its own negotiation";
    EXPECT_TRUE(parts.listeners.all().empty() && parts.negotiators.all().empty());
}
