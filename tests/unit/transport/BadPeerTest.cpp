#include "Fixture.h"
#include "RawPeer.h"
#include "wire/PayloadCodec.h"

#include <random>
#include <sys/stat.h>
#include <sys/wait.h>

namespace transport_test {

namespace {

std::vector<std::byte> noise(std::size_t size) {
    std::minstd_rand random(static_cast<unsigned>(size));
    std::vector<std::byte> bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<std::byte>(random());
    return bytes;
}

std::vector<std::byte> headerOf(std::uint32_t bodyBytes) {
    std::vector<std::byte> bytes(8);
    wire::FrameBuffer::writeHeader(bytes.data(), bodyBytes);
    return bytes;
}

std::vector<std::byte> brokenBody() {
    auto bytes = frame(fillHello);
    std::fill(bytes.begin() + 24, bytes.end(), std::byte{0xff}); // pointers to nowhere
    return bytes;
}

struct BadClient : testing::Test {
    TempDirectory directory;
    LogRecorder log;
    std::shared_ptr<Scripted> service = std::make_shared<Scripted>();
    std::unique_ptr<transport::Server> server;
    std::unique_ptr<Client> witness;
    Invokables invokable;

    void begin(transport::Limits limits = {}) {
        server = startServer(directory / "s", service, limits);
        witness = std::make_unique<Client>(directory / "s");
        invokable = witness->found();
    }
    void expectOthersGoOn() { EXPECT_EQ(callAndHelp<int>(*invokable, 30s, "m", 3), 3); }
    /// A client past its hello.
    RawPeer greeted() {
        RawPeer peer(directory / "s");
        peer.send(fillHello);
        EXPECT_TRUE(peer.receive([](auto message) { EXPECT_TRUE(message.isWelcome()); }));
        return peer;
    }
    /// What the daemon says before it closes.
    std::string goodbyeTo(const Fill& fill) {
        RawPeer peer(directory / "s");
        peer.send(fill);
        std::string text;
        peer.receive([&](auto message) { text = wire::textOf(message.getGoodbye().getText()); });
        EXPECT_TRUE(peer.closedByOther());
        return text;
    }
};

} // namespace

TEST_F(BadClient, IsDisconnectedWithOneLineAndOthersGoOn) {
    begin({.frameBytes = 100'000});
    const std::vector<std::vector<std::byte>> anyTime{noise(64),    noise(70'000),        headerOf(0),
                                                      headerOf(12), headerOf(0xfffffff8), headerOf(200'000),
                                                      brokenBody()};
    const std::vector<Fill> afterHello{
        fillHello,
        [](auto message) { message.initWelcome(); },
        [](auto message) { message.initReply(); },
        [](auto message) { message.initGoodbye(); },
        [](auto message) { message.initCallbackReply().setId(99); }, // to a callback that was never made
    };
    std::size_t bad = 0;
    for (const auto& bytes : anyTime) {
        RawPeer early(directory / "s");
        early.send(bytes);
        EXPECT_TRUE(early.closedByOther()) << bad;
        auto late = greeted();
        late.send(bytes);
        EXPECT_TRUE(late.closedByOther()) << bad;
        bad += 2;
    }
    for (const auto& fill : afterHello) {
        auto late = greeted();
        late.send(fill);
        EXPECT_TRUE(late.closedByOther()) << bad;
        ++bad;
    }
    RawPeer callFirst(directory / "s");
    callFirst.send([](auto message) { message.initCall(); });
    EXPECT_TRUE(callFirst.closedByOther());
    expectOthersGoOn();
    EXPECT_TRUE(eventually([&] { return log.count("malformed frame") == bad + 1; }));
}

TEST_F(BadClient, IsToldWhyItIsRefused) {
    begin({.connections = 2});
    EXPECT_EQ(goodbyeTo([](auto message) {
                  fillHello(message);
                  message.getHello().setProtocolVersion(77);
              }),
              "The client speaks protocol version 77, this daemon version 1: update the older one");
    for (const char* name : {"", "two words", "line\nbreak"})
        EXPECT_NE(goodbyeTo([&](auto message) {
                      fillHello(message);
                      message.getHello().setClientId(name);
                  }).find("printable"),
                  std::string::npos);
    auto second = greeted();
    EXPECT_EQ(goodbyeTo(fillHello), "Too many clients are connected (limit 2)");
    expectOthersGoOn();
}

TEST_F(BadClient, WithoutAHelloIsNotKept) {
    begin({.helloTimeout = 50ms});
    RawPeer silent(directory / "s");
    RawPeer dawdling(directory / "s");
    const auto hello = frame(fillHello);
    dawdling.send({hello.begin(), hello.end() - 1});
    EXPECT_TRUE(silent.closedByOther());
    EXPECT_TRUE(dawdling.closedByOther());
    expectOthersGoOn();
}

TEST_F(BadClient, ThatDoesNotReadIsDisconnected) {
    begin({.queuedBytesPerConnection = 1'000'000});
    service->call = [](auto call) { call->reply(core::GenericPayload::of(std::string(50'000, 'x'))); };
    auto lazy = greeted();
    for (int i = 0; i < 100; ++i)
        lazy.send([&](auto message) {
            message.initCall().setId(static_cast<std::uint64_t>(i));
            message.getCall().setRemainingMs(30'000);
        });
    EXPECT_TRUE(eventually([&] { return log.count("does not read") == 1; }));
    service->call = [](auto call) { call->reply(std::move(call->arguments())); };
    expectOthersGoOn();
}

TEST_F(BadClient, GetsAnErrorForACallThatCannotBe) {
    begin();
    auto peer = greeted();
    const auto answerTo = [&](const std::function<void(wire::Call::Builder)>& fill) {
        peer.send([&](auto message) {
            auto call = message.initCall();
            call.setRemainingMs(30'000);
            fill(call);
        });
        auto kind = core::ErrorKind::Remote;
        peer.receive(
            [&](auto message) { kind = wire::errorKindOf(message.getReply().getError().getKind()); });
        return kind;
    };
    EXPECT_EQ(answerTo([](auto call) { call.setService(1); }), core::ErrorKind::Refused);
    EXPECT_EQ(answerTo([](auto call) { call.setRemainingMs(0); }), core::ErrorKind::Timeout);
    EXPECT_EQ(answerTo([](auto call) { call.setRemainingMs(INT64_MIN); }), core::ErrorKind::Timeout);
    EXPECT_EQ(answerTo([](auto call) { call.initPayload(65); }), core::ErrorKind::Malformed);
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
    EXPECT_EQ(log.count("A connection was refused"), 1U);
    expectOthersGoOn();
}

TEST(BadDaemon, IsLeftAndAllItsCallsEnd) {
    LogRecorder log;
    const auto unreadable = [] {
        auto bytes = frame([](auto message) { message.initReply().setId(1ULL << 24U); });
        std::fill(bytes.begin() + 24, bytes.end(), std::byte{0xff});
        return bytes;
    }();
    const std::vector<std::vector<std::byte>> bad{
        noise(64),
        headerOf(0xfffffff8),
        unreadable,
        frame(fillHello),
        frame([](auto message) { message.initCall(); }),
        frame([](auto message) { message.initReply().setId(0); }),
        frame([](auto message) { message.initReply().setId(9ULL << 24U); })};
    for (const auto& bytes : bad) {
        TempDirectory directory;
        RawDaemon daemon(directory.path());
        Client client(directory.path());
        auto peer = daemon.welcome();
        const auto invokable = client.found();
        auto call = callFor(*invokable, 30s, "m");
        peer.receive();
        peer.send(bytes);
        EXPECT_EQ(errorOf(std::move(call)).first, core::ErrorKind::Disconnected);
        EXPECT_TRUE(eventually([&] { return !client.connector().status().connected; }));
        EXPECT_NE(client.connector().status().lastError.find("malformed"), std::string::npos);
    }
    EXPECT_EQ(log.count("The connection to the daemon is closed, malformed frame"), bad.size());
}

TEST(BadDaemon, ThatDoesNotReadRefusesOnlyWhatDoesNotFit) {
    TempDirectory directory;
    RawDaemon daemon(directory.path());
    Client client(directory.path(), {.queuedBytesPerConnection = 2'000'000});
    auto peer = daemon.welcome();
    const auto invokable = client.found();
    std::vector<std::future<core::GenericPayload>> calls;
    for (int i = 0; i < 60; ++i)
        calls.push_back(callFor(*invokable, 30s, "m", core::GenericPayload::of(std::string(50'000, 'x'))));
    EXPECT_EQ(errorOf(std::move(calls.back())).first, core::ErrorKind::Refused);
    calls.pop_back();
    // It reads again: everything that was accepted arrives, in order, and is answered.
    std::uint64_t answered = 0;
    for (auto& call : calls) {
        if (call.wait_for(0s) == std::future_status::ready)
            continue; // refused as well
        peer.receive([&](auto message) {
            peer.send([&](auto reply) { wire::fillReply(reply.initReply(), message.getCall().getId(), {}); });
        });
        EXPECT_NO_THROW(call.get());
        ++answered;
    }
    EXPECT_GT(answered, 20U);
}

} // namespace transport_test
