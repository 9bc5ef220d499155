#include "Fixture.h"
#include "RawPeer.h"
#include "contract/calls/CallbackManager.h"
#include "contract/records/NotifierUuid.h"
#include "tests/support/OneThread.h"

namespace transport_test {

namespace {

struct Callback : Connection {
    using Function = std::function<GenericPayload(GenericPayload)>;
    std::promise<Session> sessionPromise;
    Session session;

    void meet(transport::Limits serverLimits = {}, transport::Limits clientLimits = {},
              Client::Executor& executor = Client::Executor::instance()) {
        service->connected = [this](auto connected) { sessionPromise.set_value(connected); };
        begin(serverLimits, clientLimits, executor);
        session = sessionPromise.get_future().get();
    }
    boost::uuids::uuid exported(Function function) {
        const auto id = login::detail::createUuid();
        const auto call = [function](auto, GenericPayload given) { return function(std::move(given)); };
        invokable->callbacks()->add(id, {call, core::SignatureDescriptor::of<void()>()}, std::nullopt);
        return id;
    }
    std::future<GenericPayload> callBack(const boost::uuids::uuid& id, GenericPayload arguments = {},
                                         std::chrono::milliseconds timeout = 30s) {
        Ending ending;
        session->callBack(id, std::move(arguments), timeout, ending.handler);
        return ending.promise->get_future();
    }
};

} // namespace

TEST_F(Callback, EveryWayOfFailingReachesTheDaemon) {
    meet();
    const struct {
        Function function;
        ErrorKind kind;
        Matcher<std::string> text;
    } ways[] = {
        {[](auto) -> GenericPayload { throw std::runtime_error("why"); }, ErrorKind::Remote, "why"},
        {[](auto) -> GenericPayload { throw 5; }, ErrorKind::Remote,
         "The callback threw something that is not a std::exception"},
        {[](auto) { return payload(1.5); }, ErrorKind::Refused, _},
        // Not the function's being gone: that is found out by calling it alone.
        {[](auto) -> GenericPayload { throw core::RefusedError("its own"); }, ErrorKind::Remote, "its own"},
        {[&](auto) { return payload(callAndHelp<int>(*invokable, "gone")); }, ErrorKind::Remote, "theirs"},
    };
    service->call = [](auto call) { call->fail(ErrorKind::Withdrawn, "theirs"); };
    for (const auto& way : ways)
        EXPECT_THAT(errorOf(callBack(exported(way.function))), Pair(way.kind, way.text));
    const auto echo = exported([](auto arguments) { return arguments; });
    Ending gone;
    session->callBack(login::detail::createUuid(), {}, 30s, gone.handler);
    EXPECT_THROW(gone.promise->get_future().get(), core::WithdrawnError);
    EXPECT_EQ(errorOf(callBack(echo, payload(1.5))).first, ErrorKind::Refused);
    EXPECT_EQ(errorOf(callBack(echo, payload(std::string(2'000'000, 'x')))).first, ErrorKind::Refused);
    EXPECT_EQ(errorOf(callBack(echo, {}, 0ms)).first, ErrorKind::Timeout);
    EXPECT_TRUE(core::CallbackManager(invokable->callbacks()).removeCallback(echo).empty()) << "another's";
    EXPECT_EQ(callBack(echo, payload(7)).get().get<int>(0), 7);
}

TEST_F(Callback, IsRefusedByAnExecutorThatStops) {
    OneThread executor;
    meet({}, {}, executor);
    std::promise<void> running, release;
    const auto blocked = exported([&](auto arguments) {
        running.set_value();
        release.get_future().wait();
        return arguments;
    });
    auto first = callBack(blocked), waiting = callBack(exported([](auto arguments) { return arguments; }));
    running.get_future().wait();
    std::jthread stopping([&] { executor.stop(); });
    const Failure stops(ErrorKind::Refused, "The client process is stopping");
    EXPECT_EQ(errorOf(std::move(waiting)), stops);
    EXPECT_EQ(errorOf(callBack(blocked)), stops);
    release.set_value();
    EXPECT_NO_THROW(first.get());
    stopping.join();
    client.reset();
}

TEST_F(Callback, OverALimitTheyWaitTheirTurnInOrder) {
    // Whichever side's limit is the lower one.
    meet({.pendingCallsPerConnection = 8}, {.pendingCallsPerConnection = 4});
    std::mutex mutex;
    std::map<int, std::vector<int>> told;
    std::vector<boost::uuids::uuid> listeners;
    std::vector<std::future<GenericPayload>> endings;
    for (int listener = 0; listener < 40; ++listener)
        listeners.push_back(exported([&, listener](auto change) {
            const std::lock_guard lock(mutex);
            told[listener].push_back(change.template get<int>(0));
            return change;
        }));
    for (int change = 1; change <= 3; ++change)
        for (const auto& listener : listeners)
            endings.push_back(callBack(listener, payload(change)));
    for (auto& ending : endings)
        EXPECT_NO_THROW(ending.get());
    EXPECT_EQ(told.size(), 40U);
    for (const auto& [listener, changes] : told)
        EXPECT_THAT(changes, ElementsAre(1, 2, 3));
}

TEST_F(Callback, AHungFunctionHoldsUpItsOwnCallsOnly) {
    meet({.waitingCallbackBytesPerConnection = 5'000'000});
    std::promise<void> release;
    const auto hung = exported([released = release.get_future().share()](auto arguments) {
        released.wait();
        return arguments;
    });
    const auto other = exported([](auto arguments) { return arguments; });
    std::vector<std::future<GenericPayload>> held;
    for (int i = 0; i < 1'500; ++i)
        held.push_back(callBack(hung));
    EXPECT_NO_THROW(callBack(other).get());
    // While it waits: its own limit counts, and what waits has one in bytes.
    EXPECT_EQ(errorOf(callBack(hung, {}, 20ms)).first, ErrorKind::Timeout);
    std::vector<std::future<GenericPayload>> large;
    for (int i = 0; i < 10; ++i)
        large.push_back(callBack(hung, payload(std::string(900'000, 'x'))));
    EXPECT_EQ(errorOf(std::move(large.back())).first, ErrorKind::Refused);
    release.set_value();
    for (auto& call : held)
        EXPECT_NO_THROW(call.get());
    EXPECT_NO_THROW(large.front().get());
    EXPECT_NO_THROW(callBack(hung, payload(std::string(900'000, 'x'))).get());
}

TEST_F(Callback, ASlowReaderGetsWhatFitsAtATime) {
    std::promise<Session> slow;
    service->connected = [&](auto connected) { slow.set_value(connected); };
    server = startServer(directory / "s", service, {.queuedBytesPerConnection = 1'000'000});
    RawPeer peer(directory / "s");
    peer.send(fillHello);
    peer.receive();
    session = slow.get_future().get();
    std::vector<std::future<GenericPayload>> endings;
    for (int i = 0; i < 60; ++i)
        endings.push_back(callBack({}, payload(std::string(50'000, 'x'))));
    for (auto& ending : endings) {
        ASSERT_TRUE(peer.receive([&](auto message) {
            const auto id = message.getCallback().getId();
            peer.send([&](auto reply) { wire::fillReply(reply.initCallbackReply(), id, {}); });
        }));
        EXPECT_NO_THROW(ending.get());
    }
}

TEST_F(Callback, LossFailsThemBeforeTheServiceHears) {
    meet();
    std::promise<void> release, disconnected;
    std::atomic<bool> failed = false, failedFirst = false;
    service->disconnected = [&](auto gone) {
        failedFirst = failed.load();
        EXPECT_FALSE(gone->connected());
        disconnected.set_value();
    };
    const auto slow = exported([released = release.get_future().share()](auto arguments) {
        released.wait();
        return arguments;
    });
    session->callBack(slow, {}, 30s, {[](auto) {}, [&](auto) { failed = true; }});
    invokable.reset();
    client->connector().stop(); // does not wait for the running callback
    disconnected.get_future().wait();
    EXPECT_TRUE(failedFirst);
    EXPECT_EQ(errorOf(callBack(slow)).first, ErrorKind::Disconnected);
    release.set_value(); // ends with nobody to answer
    client.reset();
    server.reset();
    EXPECT_FALSE(session->connected()) << "a session may be kept longer than its server";
}

} // namespace transport_test
