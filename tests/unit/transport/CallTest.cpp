#include "Fixture.h"

#include <thread>

namespace transport_test {

namespace {

struct Call : testing::Test {
    TempDirectory directory;
    std::shared_ptr<Scripted> service = std::make_shared<Scripted>();
    std::unique_ptr<transport::Server> server;
    std::unique_ptr<Client> client;
    Invokables invokable;

    void begin(transport::Limits serverLimits = {}, transport::Limits clientLimits = {}) {
        server = startServer(directory / "s", service, serverLimits);
        client = std::make_unique<Client>(directory / "s", clientLimits);
        invokable = client->found();
        ASSERT_TRUE(invokable);
    }
    template <class R = void>
    std::pair<core::ErrorKind, std::string> failure(std::chrono::seconds timeout = 30s) {
        return errorOf(invokable->invokeAsync<R>(timeout, "m"));
    }
};

} // namespace

TEST_F(Call, ArrivesWithAllThatBelongsToIt) {
    std::promise<void> seen;
    service->call = [&](auto call) {
        EXPECT_EQ(call->method(), "getLoginInfo");
        EXPECT_EQ(call->descriptor(),
                  (core::SignatureDescriptor::of<std::string(std::string, int)>().named("getLoginInfo")));
        EXPECT_EQ(call->client()->clientId(), "test-client");
        EXPECT_EQ(call->client()->pid(), ::getpid());
        const auto left = call->deadline() - std::chrono::steady_clock::now();
        EXPECT_GT(left, 20s);
        EXPECT_LE(left, 30s);
        call->reply(core::GenericPayload::of(call->arguments().template get<std::string>(0) + "!"));
        call->reply(core::GenericPayload::of(std::string("a second answer")));
        seen.set_value();
    };
    begin();
    EXPECT_EQ(callAndHelp<std::string>(*invokable, 30s, "getLoginInfo", std::string("hello"), 3), "hello!");
    seen.get_future().wait();
    EXPECT_EQ(invokable->invokeAsync<std::string>(30s, "getLoginInfo", std::string("x"), 3).get(), "x!");
}

TEST_F(Call, EveryWayOfFailingHasItsKindAndText) {
    using core::ErrorKind;
    using Failure = std::pair<ErrorKind, std::string>;
    begin({}, {.slots = 2});
    service->call = [](auto call) { call->fail(ErrorKind::Remote, "Das geht nicht: \xc3\xa4"); };
    EXPECT_EQ(failure(), Failure(ErrorKind::Remote, "Das geht nicht: \xc3\xa4"));
    service->call = [](auto call) { call->fail(ErrorKind::Refused, ""); };
    EXPECT_EQ(failure(), Failure(ErrorKind::Refused, ""));
    service->call = [](auto) { throw std::logic_error("thrown"); };
    EXPECT_EQ(failure(), Failure(ErrorKind::Remote, "thrown"));
    service->call = [](auto) { throw 5; };
    EXPECT_EQ(failure(),
              Failure(ErrorKind::Remote, "The daemon's method threw something that is not a std::exception"));
    service->call = [](auto) {};
    EXPECT_EQ(failure(), Failure(ErrorKind::Remote, "The daemon dropped the call without an answer"));
    service->call = [](auto call) { std::thread([call = std::move(call)] {}).detach(); };
    EXPECT_EQ(failure(), Failure(ErrorKind::Remote, "The daemon dropped the call without an answer"));
    service->call = [](auto call) { call->reply(core::GenericPayload::of(2.5)); };
    EXPECT_EQ(failure().first, ErrorKind::Refused);
    service->call = [](auto call) { call->reply(core::GenericPayload::of(std::string(2'000'000, 'x'))); };
    EXPECT_EQ(failure().first, ErrorKind::Refused);
    service->call = [](auto call) { call->reply(core::GenericPayload::of(1, 2, 3)); };
    EXPECT_EQ(failure(), Failure(ErrorKind::Malformed,
                                 "The answer to m cannot be read: A payload of 3 slots, the limit is 2"));
    // Of this side, before anything is sent; then all is as before.
    EXPECT_EQ(errorOf(callFor(*invokable, 30s, "m", core::GenericPayload::of(2.5))).first,
              ErrorKind::Refused);
    EXPECT_EQ(
        errorOf(callFor(*invokable, 30s, "m", core::GenericPayload::of(std::string(2'000'000, 'x')))).first,
        ErrorKind::Refused);
    service->call = [](auto call) { call->reply({}); };
    EXPECT_NO_THROW(invokable->invokeAsync<void>(30s, "m").get());
}

TEST_F(Call, ADeadlineEndsItWhoeverWaits) {
    Held held;
    service->call = [&](auto call) {
        if (call->method() == "held")
            held.keep()(std::move(call));
        else
            call->reply(core::GenericPayload::of(true));
    };
    begin();
    for (const auto timeout : {0s, -5s})
        EXPECT_EQ(failure(timeout),
                  std::pair(core::ErrorKind::Timeout, "No answer to m within its limit of " +
                                                          std::to_string(timeout.count() * 1000) + " ms"));
    // Nobody waits in help(); a helper alone; a helper beside one that reads.
    EXPECT_EQ(errorOf(callFor(*invokable, 20ms, "held")).first, core::ErrorKind::Timeout);
    core::Invokable::CallId longer = 0;
    core::Invokable::CallId shorter = 0;
    for (const auto patience : {20ms, 70ms}) {
        auto result = callFor(*invokable, patience, "held", {}, &shorter);
        invokable->help(shorter);
        EXPECT_EQ(errorOf(std::move(result)).first, core::ErrorKind::Timeout);
    }
    auto leading = callFor(*invokable, 300ms, "held", {}, &longer);
    std::thread leader([&] { invokable->help(longer); });
    auto following = callFor(*invokable, 20ms, "held", {}, &shorter);
    invokable->help(shorter);
    EXPECT_EQ(errorOf(std::move(following)).first, core::ErrorKind::Timeout);
    EXPECT_EQ(leading.wait_for(0s), std::future_status::timeout);
    leader.join();
    EXPECT_EQ(errorOf(std::move(leading)).first, core::ErrorKind::Timeout);
    invokable->help(longer); // long over

    // The answers come now, to nobody; the connection goes on.
    ASSERT_TRUE(callAndHelp<bool>(*invokable, 30s, "m"));
    EXPECT_EQ(held.size(), 5U);
    for (auto& call : held.release())
        call->reply(core::GenericPayload::of(false));
    EXPECT_TRUE(callAndHelp<bool>(*invokable, 30s, "m"));
}

TEST_F(Call, OverALimitOnlyTheOffenderIsRefused) {
    Held held;
    service->call = held.keep();
    begin({.pendingCallsPerConnection = 2}, {.pendingCallsPerConnection = 3});
    Client other(directory / "s");
    auto first = invokable->invokeAsync<void>(30s, "a");
    auto second = invokable->invokeAsync<void>(30s, "b");
    EXPECT_EQ(failure(),
              std::pair(core::ErrorKind::Refused,
                        std::string("Too many calls without an answer on this connection (limit 2)")));
    auto others = other.found()->invokeAsync<void>(30s, "c");
    ASSERT_TRUE(eventually([&] { return held.size() == 3; }));
    for (auto& call : held.release())
        call->reply({});
    first.get();
    second.get();
    others.get();

    // This side's own limit: three calls on the way are one too many for the daemon, a fourth is not sent at
    // all.
    service->call = held.keep();
    std::vector<std::future<void>> calls;
    server->stop();
    ASSERT_TRUE(eventually([&] { return !client->current(); }));
    server = startServer(directory / "s", service);
    invokable = client->found();
    for (int i = 0; i < 3; ++i)
        calls.push_back(invokable->invokeAsync<void>(30s, "m"));
    EXPECT_EQ(failure(),
              std::pair(core::ErrorKind::Refused,
                        std::string("Too many calls without an answer on this connection (limit 3)")));
    server.reset();
    for (auto& call : calls)
        EXPECT_EQ(errorOf(std::move(call)).first, core::ErrorKind::Disconnected);
}

TEST_F(Call, AThrowingHandlerHarmsNobody) {
    begin();
    invokable->invokeGeneric(30s, "m", core::SignatureDescriptor::of<void()>(), {},
                             {[](auto) { throw 1; }, [](auto) { throw 2; }});
    invokable->invokeGeneric(0s, "m", core::SignatureDescriptor::of<void()>(), {},
                             {[](auto) { throw 1; }, [](auto) { throw 2; }});
    EXPECT_NO_THROW(invokable->invokeAsync<void>(30s, "m").get());
}

TEST_F(Call, AHandlerMayCallAndWaitItself) {
    begin();
    std::promise<int> inner;
    core::Invokable::CallId id = 0;
    auto outer = callFor(*invokable, 30s, "m", core::GenericPayload::of(1), &id);
    invokable->invokeGeneric(
        30s, "m", core::SignatureDescriptor::of<void()>(), core::GenericPayload::of(1),
        {[&](auto) { inner.set_value(callAndHelp<int>(*invokable, 30s, "m", 42)); }, [](auto) {}});
    invokable->help(id);
    EXPECT_EQ(inner.get_future().get(), 42);
    outer.get();
}

TEST_F(Call, LossFailsWhatIsPendingBeforeTheServiceGoes) {
    std::atomic<bool> ended = false;
    std::atomic<bool> endedFirst = false;
    Held held;
    service->call = held.keep();
    begin();
    std::promise<void> unregistered;
    auto token = client->context().AddServiceListener([&](const cppmicroservices::ServiceEvent& event) {
        if (event.GetType() != cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING)
            return;
        endedFirst = ended.load();
        unregistered.set_value();
    });
    std::promise<std::exception_ptr> error;
    core::Invokable::CallId id =
        invokable->invokeGeneric(30s, "m", core::SignatureDescriptor::of<void()>(), {},
                                 {[](auto) {},
                                  [&](std::exception_ptr why) {
                                      ended = true;
                                      error.set_value(why);
                                  }});
    std::thread helper([&] { invokable->help(id); });
    ASSERT_TRUE(eventually([&] { return held.size() == 1; }));
    server.reset();
    helper.join();
    EXPECT_THROW(std::rethrow_exception(error.get_future().get()), core::DisconnectedError);
    unregistered.get_future().wait();
    EXPECT_TRUE(endedFirst);
    EXPECT_EQ(failure().first, core::ErrorKind::Disconnected) << "a call on what somebody still holds";
    client->context().RemoveListener(std::move(token));
}

} // namespace transport_test
