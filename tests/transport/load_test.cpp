#include "Fixture.h"
#include "contract/records/NotifierUuid.h"

#include <algorithm>
#include <array>

namespace transport_test {

namespace {

struct Load : Connection {};

/// Ends a call whichever way, or the test fails. True for a value.
bool ends(core::Invokable& invokable, std::chrono::milliseconds timeout, const char* method, bool help) {
    core::Invokable::CallId id = 0;
    auto result = callFor(invokable, timeout, method, payload(1), &id);
    if (help)
        invokable.help(id);
    EXPECT_TRUE(comes(result));
    try {
        return result.get().get<int>(0) == 1;
    } catch (const core::InvocationError&) {
        return false;
    }
}

} // namespace

TEST_F(Load, TheReadersRoleIsHandedOnAmongCallersOfAllKinds) {
    // Some are answered at once, some by another thread, some never: each must end by its own reply or
    // deadline, though whoever reads for it changes all the time, and none may be left without a reader.
    service->call = [&](SharedIncoming call) {
        if (call->method() == "later")
            std::thread([call] { call->reply(std::move(call->arguments())); }).detach();
        else if (call->method() == "now")
            call->reply(std::move(call->arguments()));
        else
            std::thread([call] {
                while (std::chrono::steady_clock::now() < call->deadline() + 20ms)
                    std::this_thread::yield();
            }).detach();
    };
    begin();
    startThreads(12, [&](int i) {
        const bool help = i % 4 != 3;
        for (int round = 0; round < 40; ++round) {
            if (i % 3 == 0 && round % 10 == 0)
                EXPECT_FALSE(ends(*invokable, std::chrono::milliseconds(1 + round), "never", help));
            else
                EXPECT_TRUE(ends(*invokable, 30s, i % 3 == 1 ? "later" : "now", help));
        }
    });
}

TEST_F(Load, CallbacksCallWhileTheCallThatTheyAnswerWaits) {
    service->call = [](SharedIncoming call) {
        if (call->method() == "inner")
            call->reply(std::move(call->arguments()));
        else
            answerByCallback(call, call->arguments().get<boost::uuids::uuid>(0));
    };
    begin();
    startThreads(8, [&](int i) {
        for (int round = 0; round < 25; ++round) {
            const auto id = login::detail::createUuid();
            const auto function = [&, i](auto, auto) {
                return payload(callAndHelp<int>(*invokable, "inner", i));
            };
            invokable->callbacks()->add(id, {function, core::SignatureDescriptor::of<int()>()}, 1U);
            if (round % 2 == 0)
                EXPECT_EQ(callAndHelp<int>(*invokable, "outer", id), i);
            else
                EXPECT_EQ(invokable->invokeAsync<int>(30s, "outer", id).get(), i);
            EXPECT_THROW(callAndHelp<int>(*invokable, "outer", id), core::RemoteError)
                << "its limit of calls is used up";
        }
    });
    EXPECT_EQ(invokable->callbacks()->size(), 0U);
}

TEST_F(Load, EveryCallEndsOnceWhenTheDaemonIsReplacedAtAnAwkwardMoment) {
    Held held;
    std::array<std::atomic<int>, 100> endings{};
    const auto onceEach = [&] {
        return std::ranges::all_of(endings, [](const auto& count) { return count == 1; });
    };
    const auto callAll = [&] {
        for (auto& ending : endings) {
            ending = 0;
            const auto count = [&](auto) { ++ending; };
            start(*invokable, 30s, "m", {}, {count, count});
        }
    };
    const auto replace = [&] {
        server.reset();
        EXPECT_TRUE(eventually(onceEach));
        held.answer(); // too late
        server = startServer(directory / "s", service);
        invokable = client->found(invokable);
    };
    service->call = held.keep();
    begin();
    for (int round = 0; round < 10; ++round) {
        // Right after its welcome.
        service->call = held.keep();
        std::jthread caller(callAll);
        if (round % 2 == 0)
            std::this_thread::yield();
        server.reset();
        caller.join();
        replace();
        EXPECT_TRUE(onceEach());

        // While all calls wait.
        callAll();
        ASSERT_TRUE(eventually([&] { return held.size() == 100; }));
        replace();
        EXPECT_TRUE(onceEach());

        // While a callback runs, which for some calls is their answer.
        std::promise<void> gone;
        const auto running = std::make_shared<std::promise<void>>();
        const auto id = login::detail::createUuid();
        const auto function = [running, released = gone.get_future().share(),
                               first = std::make_shared<std::atomic<bool>>(true)](auto, auto) {
            if (first->exchange(false))
                running->set_value();
            released.wait();
            return GenericPayload();
        };
        invokable->callbacks()->add(id, {function, core::SignatureDescriptor::of<void()>()}, std::nullopt);
        service->call = [id](SharedIncoming call) { answerByCallback(call, id); };
        callAll();
        running->get_future().wait();
        replace();
        gone.set_value();
        EXPECT_TRUE(onceEach());
    }
    client->connector().stop();
    EXPECT_TRUE(onceEach());
}

} // namespace transport_test
