#include "Fixture.h"
#include "records/NotifierUuid.h"
#include "runtime/core/CallbackManager.h"

#include <thread>

namespace transport_test {

namespace {

struct Callback : testing::Test {
    TempDirectory directory;
    std::shared_ptr<Scripted> service = std::make_shared<Scripted>();
    std::promise<std::shared_ptr<transport::ClientSession>> sessionPromise;
    std::shared_ptr<transport::ClientSession> session;
    std::unique_ptr<transport::Server> server;
    std::unique_ptr<Client> client;
    Invokables invokable;

    void SetUp() override {
        service->connected = [this](auto connected) { sessionPromise.set_value(connected); };
        server = startServer(directory / "s", service);
        client = std::make_unique<Client>(directory / "s");
        invokable = client->found();
        session = sessionPromise.get_future().get();
    }

    boost::uuids::uuid exported(std::function<core::GenericPayload(core::GenericPayload)> function) {
        const auto id = login::detail::createUuid();
        invokable->callbacks()->add(
            id,
            {[function](auto, core::GenericPayload arguments) { return function(std::move(arguments)); },
             core::SignatureDescriptor::of<void()>()},
            std::nullopt);
        return id;
    }
    std::future<core::GenericPayload> callBack(const boost::uuids::uuid& id,
                                               core::GenericPayload arguments = {},
                                               std::chrono::milliseconds timeout = 30s) {
        auto promise = std::make_shared<std::promise<core::GenericPayload>>();
        session->callBack(id, std::move(arguments), timeout,
                          {[promise](core::GenericPayload value) { promise->set_value(std::move(value)); },
                           [promise](std::exception_ptr error) { promise->set_exception(error); }});
        return promise->get_future();
    }
};

} // namespace

TEST_F(Callback, RunsOffTheReadingThreadBeforeTheReply) {
    // The daemon holds the reply back until the callback has called it in turn.
    const auto id = exported([&](core::GenericPayload arguments) {
        return core::GenericPayload::of(
            callAndHelp<int>(*invokable, 30s, "inner", arguments.get<int>(0) + 1));
    });
    service->call = [&](std::shared_ptr<transport::IncomingCall> call) {
        if (call->method() == "inner") {
            call->reply(std::move(call->arguments()));
            return;
        }
        call->client()->callBack(id, core::GenericPayload::of(4), 30s,
                                 {[call](core::GenericPayload value) { call->reply(std::move(value)); },
                                  [call](auto) { call->fail(core::ErrorKind::Remote, "callback failed"); }});
    };
    EXPECT_EQ(callAndHelp<int>(*invokable, 30s, "outer"), 5);
    EXPECT_EQ(invokable->invokeAsync<int>(30s, "outer").get(), 5);
}

TEST_F(Callback, EveryWayOfFailingReachesTheDaemon) {
    using core::ErrorKind;
    using Failure = std::pair<ErrorKind, std::string>;
    EXPECT_EQ(errorOf(callBack(login::detail::createUuid())).first, ErrorKind::Refused);
    EXPECT_EQ(
        errorOf(callBack(exported([](auto) -> core::GenericPayload { throw std::runtime_error("why"); }))),
        Failure(ErrorKind::Remote, "why"));
    EXPECT_EQ(errorOf(callBack(exported([](auto) -> core::GenericPayload { throw 5; }))),
              Failure(ErrorKind::Remote, "The callback threw something that is not a std::exception"));
    EXPECT_EQ(errorOf(callBack(exported([](auto) { return core::GenericPayload::of(1.5); }))).first,
              ErrorKind::Refused);
    const auto echo = exported([](auto arguments) { return arguments; });
    EXPECT_EQ(errorOf(callBack(echo, core::GenericPayload::of(1.5))).first, ErrorKind::Refused);
    EXPECT_EQ(errorOf(callBack(echo, {}, 0ms)).first, ErrorKind::Timeout);
    EXPECT_EQ(callBack(echo, core::GenericPayload::of(7)).get().get<int>(0), 7);
}

TEST_F(Callback, LossFailsThemBeforeTheServiceHears) {
    std::promise<void> release, disconnected;
    auto released = release.get_future().share();
    std::atomic<bool> failed = false, failedFirst = false;
    service->disconnected = [&](auto gone) {
        failedFirst = failed.load();
        EXPECT_FALSE(gone->connected());
        disconnected.set_value();
    };
    const auto slow = exported([released](auto arguments) {
        released.wait();
        return arguments;
    });
    session->callBack(slow, {}, 30s, {[](auto) {}, [&](auto) { failed = true; }});
    invokable.reset();
    std::thread stopper([&] { client->connector().stop(); }); // does not wait for the running callback
    stopper.join();
    disconnected.get_future().wait();
    EXPECT_TRUE(failedFirst);
    EXPECT_EQ(errorOf(callBack(slow)).first, core::ErrorKind::Disconnected);
    release.set_value(); // ends with nobody to answer
    client.reset();
    server.reset();
    EXPECT_FALSE(session->connected()) << "a session may be kept longer than its server";
}

} // namespace transport_test
