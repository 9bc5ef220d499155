#include "Fixture.h"
#include "RawPeer.h"

namespace transport_test {

namespace {

struct Call : Connection {
    Held held;
    Failure failure(std::chrono::seconds timeout = 30s) {
        auto failed = errorOf(invokable->invokeAsync<void>(timeout, "m"));
        EXPECT_EQ(errorOf(std::async(std::launch::async, [&] { invokable->call<void>(timeout, "m"); })),
                  failed);
        return failed;
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
        EXPECT_THAT(call->deadline() - std::chrono::steady_clock::now(), AllOf(Gt(50s), Le(60s)));
        call->reply(payload(call->arguments().template get<std::string>(0) + "!"));
        call->reply(payload(std::string("a second answer")));
        seen.set_value();
    };
    begin();
    EXPECT_EQ(callAndHelp<std::string>(*invokable, "getLoginInfo", std::string("hello"), 3), "hello!");
    seen.get_future().wait();
    EXPECT_EQ(invokable->invokeAsync<std::string>(60s, "getLoginInfo", std::string("x"), 3).get(), "x!");
    service->call = [](auto call) { call->reply(payload(call->method())); };
    const std::string longName(5'000, 'm'); // which never gets a number
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(callAndHelp<std::string>(*invokable, longName), longName);
}

TEST_F(Call, EveryWayOfFailingHasItsKindAndText) {
    begin({}, {.slots = 2});
    const std::string huge(2'000'000, 'x'), longest(16 * 1024 - 2, 'x'),
        dropped = "The daemon dropped the call without an answer";
    const struct {
        Script<Incoming>::Function method;
        ErrorKind kind;
        Matcher<std::string> text;
    } ways[] = {
        {[](auto call) { call->fail(ErrorKind::Remote, "Das geht nicht: \xc3\xa4"); }, ErrorKind::Remote,
         "Das geht nicht: \xc3\xa4"},
        {[](auto call) { call->fail(ErrorKind::Refused, ""); }, ErrorKind::Refused, ""},
        {[](auto) { throw std::logic_error("thrown"); }, ErrorKind::Remote, "thrown"},
        {[](auto) { throw 5; }, ErrorKind::Remote,
         "The daemon's method threw something that is not a std::exception"},
        {[&](auto call) { call->fail(ErrorKind::Remote, longest + "\xe2\x82\xac"); }, ErrorKind::Remote,
         longest},
        {[](auto) {}, ErrorKind::Remote, dropped},
        {[](auto call) { std::thread([call = std::move(call)] {}).detach(); }, ErrorKind::Remote, dropped},
        {[](auto call) { call->reply(payload(true, 2.5)); }, ErrorKind::Refused,
         "Slot 1 holds a value of the type double, which cannot be sent"},
        {[&](auto call) { call->reply(payload(huge)); }, ErrorKind::Refused, _},
        {[](auto call) { call->reply(payload(1, 2, 3)); }, ErrorKind::Malformed,
         "The answer to m cannot be read: A payload of 3 slots, the limit is 2"},
    };
    for (const auto& way : ways) {
        service->call = way.method;
        EXPECT_THAT(failure(), Pair(way.kind, way.text));
    }
    // Of this side, before anything is sent; then all is as before.
    EXPECT_EQ(errorOf(callFor(*invokable, 30s, "m", payload(2.5))).first, ErrorKind::Refused);
    EXPECT_EQ(errorOf(callFor(*invokable, 30s, "m", payload(huge))).first, ErrorKind::Refused);
    service->call = [](auto call) { call->reply({}); };
    EXPECT_NO_THROW(invokable->invokeAsync<void>(30s, "m").get());
}

TEST_F(Call, AnAnswerOfAnotherKindIsNoResult) {
    begin();
    const auto call = [&](const GenericPayload& answer) {
        service->call = [&](auto incoming) { incoming->reply(answer); };
        invokable->call<void>(30s, "m");
        return invokable->call<std::u16string>(30s, "m");
    };
    EXPECT_EQ(call(payload(std::u16string(u"\xd800 a"), 5)), u"\xd800 a");
    EXPECT_THROW(call(payload()), std::out_of_range);
    EXPECT_THROW(call(payload(std::string("a"))), std::bad_any_cast);
    GenericPayload odd;
    odd.addEmptySlot();
    EXPECT_THAT([&] { call(odd); }, ThrowsMessage<std::runtime_error>("GenericPayload empty at index"));
    odd = {};
    odd.addSlot(std::make_shared<std::u16string>(), typeid(std::u16string),
                GenericPayload::cloner_helper<std::u16string>(), true);
    EXPECT_THAT([&] { call(odd); }, ThrowsMessage<std::runtime_error>(HasSubstr("Polymorphic")));
}

TEST(Method, TravelsAsTextsUntilTheDaemonHasAnsweredThem) {
    TempDirectory directory;
    RawDaemon daemon(directory.path());
    Client client(directory.path());
    auto peer = daemon.welcome(); // which knows one method by a number
    const auto invokable = client.found();
    const auto next = [&](auto start, bool answered = true) {
        const auto call = start();
        std::pair<std::uint32_t, std::string> method;
        peer.receive([&](auto message) {
            const auto got = message.getCall();
            method = {got.getMethod(), wire::textOf(got.getTexts().getName())};
            if (answered)
                peer.send([&](auto reply) { wire::fillError(reply.initReply(), got.getId(), {}, "no"); });
        });
        if (answered)
            call.wait();
        return method;
    };
    const auto first = [&] { return invokable->invokeAsync<void>(30s, "first").share(); };
    EXPECT_EQ(next(first, false), std::pair(1U, std::string("first")));
    EXPECT_EQ(next(first), std::pair(1U, std::string("first")));
    EXPECT_EQ(next(first), std::pair(1U, std::string()));
    const auto second = [&] { return invokable->invokeAsync<bool>(30s, "first").share(); };
    EXPECT_EQ(next(second), std::pair(0U, std::string("first"))); // another signature
    EXPECT_EQ(next(second), std::pair(0U, std::string("first")));
}

TEST_F(Call, ADeadlineEndsItWhoeverWaits) {
    service->call = [&](auto call) {
        if (call->method() == "held")
            held.keep()(std::move(call));
        else
            call->reply(payload(true));
    };
    begin();
    EXPECT_EQ(failure(0s), Failure(ErrorKind::Timeout, "No answer to m within its limit of 0 ms"));
    EXPECT_EQ(failure(-5s), Failure(ErrorKind::Timeout, "No answer to m within its limit of -5000 ms"));
    // Nobody waits in help(); a helper alone; a helper beside one that reads.
    EXPECT_EQ(errorOf(callFor(*invokable, 20ms, "held")).first, ErrorKind::Timeout);
    core::Invokable::CallId longer = 0, shorter = 0;
    for (const auto patience : {20ms, 70ms}) {
        auto result = callFor(*invokable, patience, "held", {}, &shorter);
        invokable->help(shorter);
        EXPECT_EQ(errorOf(std::move(result)).first, ErrorKind::Timeout);
    }
    auto leading = callFor(*invokable, 300ms, "held", {}, &longer);
    std::jthread leader([&] { invokable->help(longer); });
    auto following = callFor(*invokable, 20ms, "held", {}, &shorter);
    invokable->help(shorter);
    EXPECT_EQ(errorOf(std::move(following)).first, ErrorKind::Timeout);
    EXPECT_EQ(leading.wait_for(0s), std::future_status::timeout);
    leader.join();
    EXPECT_EQ(errorOf(std::move(leading)).first, ErrorKind::Timeout);
    invokable->help(longer); // long over

    // The answers come now, to nobody; the connection goes on.
    ASSERT_TRUE(callAndHelp<bool>(*invokable, "m"));
    EXPECT_EQ(held.size(), 5U);
    held.answer(payload(false));
    EXPECT_TRUE(callAndHelp<bool>(*invokable, "m"));
}

TEST_F(Call, OverALimitOnlyTheOffenderIsRefused) {
    const std::string refusal = "Too many calls without an answer on this connection (limit ";
    service->call = held.keep();
    begin({.pendingCallsPerConnection = 2}, {.pendingCallsPerConnection = 3});
    Client other(directory / "s");
    std::vector<std::future<void>> calls;
    for (int i = 0; i < 2; ++i)
        calls.push_back(invokable->invokeAsync<void>(30s, "m"));
    EXPECT_EQ(failure(), Failure(ErrorKind::Refused, refusal + "2)"));
    calls.push_back(other.found()->invokeAsync<void>(30s, "c"));
    ASSERT_TRUE(eventually([&] { return held.size() == 3; }));
    held.answer();
    for (auto& call : calls)
        call.get();

    // This side's own limit: those beyond it wait until others have ended, one way or the other.
    server->stop();
    ASSERT_TRUE(eventually([&] { return !client->current(); }));
    server = startServer(directory / "s", service);
    invokable = client->found();
    for (int i = 3; i < 10; ++i)
        calls.push_back(invokable->invokeAsync<void>(30s, "m"));
    EXPECT_EQ(errorOf(callFor(*invokable, 20ms, "m")).first, ErrorKind::Timeout); // in its turn
    ASSERT_TRUE(eventually([&] { return held.size() == 3; }));
    held.answer();
    ASSERT_TRUE(eventually([&] { return held.size() == 3; }));
    held.answer();
    ASSERT_TRUE(eventually([&] { return held.size() == 1; })); // not the one that has ended
    for (std::size_t i = 3; i < 9; ++i)
        calls[i].get();
    for (int i = 0; i < 5; ++i)
        calls.push_back(invokable->invokeAsync<void>(30s, "m"));
    server.reset();
    for (std::size_t i = 9; i < calls.size(); ++i)
        EXPECT_EQ(errorOf(std::move(calls[i])).first, ErrorKind::Disconnected);
}

TEST_F(Call, AHandlerMayThrowOrCallAndWaitItself) {
    begin();
    for (const auto timeout : {30s, 0s})
        start(*invokable, timeout, "m", {}, {[](auto) { throw 1; }, [](auto) { throw 2; }});
    EXPECT_NO_THROW(invokable->invokeAsync<void>(30s, "m").get());

    std::promise<int> inner;
    core::Invokable::CallId id = 0;
    auto outer = callFor(*invokable, 30s, "m", payload(1), &id);
    start(*invokable, 30s, "m", payload(1),
          {[&](auto) { inner.set_value(callAndHelp<int>(*invokable, "m", 42)); }, [](auto) {}});
    invokable->help(id);
    EXPECT_EQ(inner.get_future().get(), 42);
    outer.get();
}

TEST_F(Call, LossFailsWhatIsPendingBeforeTheServiceGoes) {
    std::atomic<bool> ended = false, endedFirst = false;
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
    const auto onError = [&](std::exception_ptr why) {
        ended = true;
        error.set_value(why);
    };
    const auto id = start(*invokable, 30s, "m", {}, {[](auto) {}, onError});
    std::jthread helper([&] { invokable->help(id); });
    ASSERT_TRUE(eventually([&] { return held.size() == 1; }));
    server.reset();
    helper.join();
    EXPECT_THROW(std::rethrow_exception(error.get_future().get()), core::DisconnectedError);
    unregistered.get_future().wait();
    EXPECT_TRUE(endedFirst);
    EXPECT_EQ(failure().first, ErrorKind::Disconnected) << "a call on what somebody still holds";
    client->context().RemoveListener(std::move(token));
}

} // namespace transport_test
