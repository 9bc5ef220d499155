#include "Fixture.h"
#include "RawPeer.h"
#include "transport/wire/PayloadCodec.h"

#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace transport_test {

namespace {

Bytes noise(std::size_t size) {
    std::minstd_rand random(static_cast<unsigned>(size));
    Bytes bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<std::byte>(random());
    return bytes;
}

Bytes headerOf(std::uint32_t bodyBytes) {
    Bytes bytes(8);
    wire::FrameBuffer::writeHeader(bytes.data(), bodyBytes);
    return bytes;
}

Bytes withBrokenBody(Bytes bytes) {
    std::fill(bytes.begin() + 24, bytes.end(), std::byte{0xff}); // pointers to nowhere
    return bytes;
}

struct BadClient : Connection {
    void expectOthersGoOn() {
        service->call = [](auto call) { call->reply(std::move(call->arguments())); };
        EXPECT_EQ(callAndHelp<int>(*invokable, "m", 3), 3);
    }
    RawPeer stranger() { return RawPeer(directory / "s"); }
    /// A client past its hello.
    RawPeer greeted() {
        auto peer = stranger();
        peer.send(fillHello);
        EXPECT_TRUE(peer.receive([](auto message) { EXPECT_TRUE(message.isWelcome()); }));
        return peer;
    }
    /// A client that does not read the long answers to so many calls.
    RawPeer lazy(unsigned calls) {
        service->call = [](auto call) { call->reply(payload(std::string(50'000, 'x'))); };
        auto peer = greeted();
        for (unsigned i = 0; i < calls; ++i)
            peer.send([&](auto message) {
                message.initCall().setId(i);
                message.getCall().setRemainingMs(30'000);
            });
        return peer;
    }
    /// What the daemon says to such a hello before it closes.
    std::string goodbyeTo(const std::function<void(wire::Hello::Builder)>& change = [](auto) {}) {
        auto peer = stranger();
        peer.send([&](auto message) {
            fillHello(message);
            change(message.getHello());
        });
        std::string text;
        peer.receive([&](auto message) { text = wire::textOf(message.getGoodbye().getText()); });
        EXPECT_TRUE(peer.closedByOther());
        return text;
    }
};

/// A client, and the daemon's end of its connection.
struct Met {
    TempDirectory directory;
    RawDaemon daemon{directory.path()};
    Client client;
    RawPeer peer;
    Invokables invokable;

    explicit Met(transport::Limits limits = {})
        : client(directory.path(), limits), peer(daemon.welcome()), invokable(client.found()) {}
    /// Waits until the connection is lost; why it was.
    std::string lossReason() {
        EXPECT_TRUE(eventually([&] { return !client.connector().status().connected; }));
        return client.connector().status().lastError;
    }
};

} // namespace

TEST_F(BadClient, IsDisconnectedWithOneLineAndOthersGoOn) {
    begin({.frameBytes = 100'000, .complaintInterval = 0ms});
    std::size_t bad = 0;
    const auto expectClosed = [&](RawPeer peer, const Bytes& bytes) {
        peer.send(bytes);
        EXPECT_TRUE(peer.closedByOther()) << bad;
        ++bad;
    };
    for (const auto& anyTime : {noise(64), noise(70'000), headerOf(0), headerOf(12), headerOf(0xfffffff8),
                                headerOf(200'000), withBrokenBody(frame(fillHello))}) {
        expectClosed(stranger(), anyTime);
        expectClosed(greeted(), anyTime);
    }
    expectClosed(stranger(), frame([](auto message) { message.initCall(); }));
    const auto named = [](std::uint32_t number, const char* name, const std::string& descriptor = "d") {
        return frame([&](auto message) {
            message.initCall().setMethod(number);
            wire::fillMethod(message.getCall().initTexts(), name, descriptor);
        });
    };
    const auto both = [](Bytes first, const Bytes& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    };
    for (const auto& badMethod :
         {both(named(2, "m"), frame([](auto message) { message.initCall().setMethod(1); })),
          both(named(1, "m"), frame([](auto message) { message.initCall().setMethod(2); })),
          both(named(1, "m"), named(1, "m", "e")), both(named(1, "m"), named(1, "n")), named(513, "m"),
          named(~0U, "m"), named(1, "m", std::string(5'000, 'x'))})
        expectClosed(greeted(), badMethod);
    for (const Fill& afterHello :
         {Fill(fillHello), Fill([](auto message) { message.initWelcome(); }),
          Fill([](auto message) { message.initReply(); }), Fill([](auto message) { message.initGoodbye(); }),
          // to a callback that was never made
          Fill([](auto message) { message.initCallbackReply().setId(99); })})
        expectClosed(greeted(), frame(afterHello));
    expectOthersGoOn();
    EXPECT_TRUE(eventually([&] { return log.mentions("malformed frame") == bad; }));
}

TEST_F(BadClient, FillsNoLog) {
    begin({.complaintInterval = 300ms});
    for (int i = 0; i < 50; ++i) {
        auto peer = greeted();
        peer.send(noise(64));
        EXPECT_TRUE(peer.closedByOther());
    }
    EXPECT_TRUE(eventually([&] { return log.mentions("more bad connections of process") >= 1; }));
    EXPECT_LE(log.mentions("malformed frame"), 10U);
}

TEST_F(BadClient, IsToldWhyItIsRefused) {
    begin({.connections = 2});
    EXPECT_EQ(goodbyeTo([](auto hello) { hello.setProtocolVersion(77); }),
              "The client speaks protocol version 77, this daemon version 2: update the older one");
    for (const char* name : {"", "two words", "line\nbreak"})
        EXPECT_THAT(goodbyeTo([&](auto hello) { hello.setClientId(name); }), HasSubstr("printable"));
    auto second = greeted();
    EXPECT_EQ(goodbyeTo(), "Too many clients are connected (limit 2)");
    expectOthersGoOn();
}

TEST_F(BadClient, WithoutAHelloIsNotKept) {
    begin({.helloTimeout = 50ms});
    auto silent = stranger(), dawdling = stranger();
    const auto hello = frame(fillHello);
    dawdling.send({hello.begin(), hello.end() - 1});
    EXPECT_TRUE(silent.closedByOther());
    EXPECT_TRUE(dawdling.closedByOther());
    expectOthersGoOn();
}

TEST_F(BadClient, ThatDoesNotReadIsDisconnected) {
    begin({.queuedBytesPerConnection = 1'000'000});
    const auto peer = lazy(100);
    EXPECT_TRUE(eventually([&] { return log.mentions("does not read") == 1; }));
    expectOthersGoOn();
}

TEST_F(BadClient, WithMostWaitingForItGoesWhenAllTogetherAreOverTheirLimit) {
    begin({.queuedBytesPerConnection = 1'000'000, .queuedBytes = 1'500'000});
    auto modest = lazy(10), greedy = lazy(18), greedyToo = lazy(18);
    EXPECT_TRUE(eventually([&] { return log.mentions("too much waits for all clients together") == 1; }));
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(modest.receive());
    expectOthersGoOn();
}

TEST_F(BadClient, IsToldWhenThereIsNoDescriptorLeftForIt) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the checks for undefined behaviour need a descriptor of their own";
#endif
    begin();
    const auto address = wire::socketAddress(server->socketPath());
    std::vector<RawPeer> peers;
    std::vector<int> sockets(50);
    for (int& socket : sockets) {
        socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        peers.emplace_back(socket);
    }
    rlimit before{}, tight{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    tight = before;
    tight.rlim_cur = static_cast<rlim_t>(foundation::UniqueFd(::dup(0)).get()) + 4;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    int turnedAway = 0;
    for (std::size_t i = 0; i < peers.size(); ++i) {
        EXPECT_EQ(::connect(sockets[i], reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        peers[i].send(fillHello);
    }
    for (auto& peer : peers)
        EXPECT_TRUE(peer.receive([&](auto message) {
            turnedAway += message.isGoodbye() &&
                          wire::textOf(message.getGoodbye().getText()).starts_with("Too many clients");
        }));
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(turnedAway, AllOf(Ge(20), Le(50)));
    expectOthersGoOn();
}

TEST_F(BadClient, GetsAnErrorForACallThatCannotBe) {
    begin();
    auto peer = greeted();
    const auto answerTo = [&](const std::function<void(wire::Call::Builder)>& fill) {
        peer.send([&](auto message) {
            message.initCall().setRemainingMs(30'000);
            fill(message.getCall());
        });
        auto kind = ErrorKind::Remote;
        peer.receive(
            [&](auto message) { kind = wire::errorKindOf(message.getReply().getError().getKind()); });
        return kind;
    };
    EXPECT_EQ(answerTo([](auto call) { call.setService(1); }), ErrorKind::Refused);
    EXPECT_EQ(answerTo([](auto call) { call.setRemainingMs(0); }), ErrorKind::Timeout);
    EXPECT_EQ(answerTo([](auto call) { call.setRemainingMs(INT64_MIN); }), ErrorKind::Timeout);
    EXPECT_EQ(answerTo([](auto call) { call.initPayload(65); }), ErrorKind::Malformed);
    expectOthersGoOn();
}

TEST_F(BadClient, OfAnotherUserIsRefused) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to become somebody else";
    begin();
    // Even when the directory is opened to others behind the daemon's back.
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((directory / "s").c_str(), 0755), 0);
    ASSERT_EQ(::chmod(server->socketPath().c_str(), 0666), 0);
    const auto address = wire::socketAddress(server->socketPath());
    const pid_t child = ::fork();
    if (child == 0) {
        char byte = 0;
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        if (::setuid(65534) != 0 ||
            ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            ::_exit(1);
        ::_exit(::read(fd, &byte, 1) == 0 ? 0 : 2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(log.mentions("A connection was refused"), 1U);
    expectOthersGoOn();
}

TEST(BadDaemon, IsLeftAndAllItsCallsEnd) {
    RecordingLog log;
    const auto replyTo = [](unsigned call) {
        return frame([=](auto message) { message.initReply().setId(std::uint64_t{call} << 24U); });
    };
    const std::vector<Bytes> bad{noise(64),
                                 headerOf(0xfffffff8),
                                 withBrokenBody(replyTo(1)),
                                 frame(fillHello),
                                 frame([](auto message) { message.initCall(); }),
                                 replyTo(0),
                                 replyTo(9)};
    for (const auto& bytes : bad) {
        Met met;
        auto call = callFor(*met.invokable, 30s, "m");
        met.peer.receive();
        met.peer.send(bytes);
        EXPECT_EQ(errorOf(std::move(call)).first, ErrorKind::Disconnected);
        EXPECT_THAT(met.lossReason(), HasSubstr("malformed"));
    }
    EXPECT_EQ(log.mentions("The connection to the daemon is closed, malformed frame"), bad.size());
}

TEST(BadDaemon, ThatCallsBackTooOftenIsRefused) {
    Met met({.pendingCallsPerConnection = 2, .callbacksPerConnection = 2});
    std::promise<void> release;
    const core::ExportedFunction slow{[released = release.get_future().share()](auto, auto) {
                                          released.wait();
                                          return GenericPayload();
                                      },
                                      core::SignatureDescriptor::of<void()>()};
    met.invokable->callbacks()->add({}, slow, std::nullopt);
    const core::ExportedFunction fast{[](auto, auto) { return GenericPayload(); }, slow.signature};
    met.invokable->callbacks()->add({1}, fast, std::nullopt);
    EXPECT_THROW(met.invokable->callbacks()->add({2}, fast, std::nullopt), core::RefusedError);
    const auto call = [&](unsigned id) {
        met.peer.send([=](auto message) {
            message.initCallback().setId(id);
            message.getCallback().setRemainingMs(30'000);
            wire::encodeUuid({id > 2}, message.getCallback().initCallback());
        });
    };
    const auto expectAnswer = [&](unsigned id, bool refused) {
        EXPECT_TRUE(met.peer.receive([&](auto message) {
            const auto reply = message.getCallbackReply();
            EXPECT_EQ(reply.getId(), id);
            EXPECT_EQ(reply.isError(), refused);
        }));
    };
    for (unsigned id = 1; id <= 4; ++id)
        call(id);
    expectAnswer(3, true);
    expectAnswer(4, true);
    release.set_value();
    expectAnswer(1, false);
    expectAnswer(2, false);
    call(5);
    expectAnswer(5, false);
}

TEST(BadDaemon, SaysTooMuchAndIsCutShortBetweenTwoCharacters) {
    std::string text = "x", umlaut = "\xc3\xa4";
    while (text.size() < 200'000)
        text += umlaut;
    const auto shortened = text.substr(0, 16 * 1024 - 1); // 16 KiB end in the midst of one
    Met met;
    auto call = callFor(*met.invokable, 30s, "m");
    met.peer.receive([&](auto message) {
        const auto id = message.getCall().getId();
        met.peer.send([&](auto reply) {
            reply.initReply().setId(id);
            reply.getReply().initError().setText(text);
        });
    });
    EXPECT_EQ(errorOf(std::move(call)).second, shortened);
    met.peer.send([&](auto message) { message.initGoodbye().setText(text); });
    EXPECT_THAT(met.lossReason(), EndsWith("said goodbye: " + shortened));
}

TEST(BadDaemon, ThatDoesNotReadRefusesOnlyWhatDoesNotFit) {
    Met met({.queuedBytesPerConnection = 2'000'000});
    std::vector<std::future<GenericPayload>> calls;
    for (int i = 0; i < 60; ++i)
        calls.push_back(callFor(*met.invokable, 30s, "m", payload(std::string(50'000, 'x'))));
    EXPECT_EQ(errorOf(std::move(calls.back())).first, ErrorKind::Refused);
    calls.pop_back();
    // It reads again: everything that was accepted arrives, in order, and is answered.
    unsigned answered = 0;
    for (auto& call : calls) {
        if (call.wait_for(0s) == std::future_status::ready)
            continue; // refused as well
        met.peer.receive([&](auto message) {
            met.peer.send(
                [&](auto reply) { wire::fillReply(reply.initReply(), message.getCall().getId(), {}); });
        });
        EXPECT_NO_THROW(call.get());
        ++answered;
    }
    EXPECT_GT(answered, 20U);
}

} // namespace transport_test
