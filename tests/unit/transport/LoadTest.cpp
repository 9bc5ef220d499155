#include "Fixture.h"
#include "records/NotifierUuid.h"

#include <thread>

namespace transport_test {

namespace {

/// Ends a call whichever way, or the test fails. True for a value.
bool ends(core::Invokable& invokable, std::chrono::milliseconds timeout, const char* method, bool help) {
    core::Invokable::CallId id = 0;
    auto result = callFor(invokable, timeout, method, core::GenericPayload::of(1), &id);
    if (help)
        invokable.help(id);
    if (result.wait_for(generous) != std::future_status::ready) {
        ADD_FAILURE() << "a call did not end";
        return false;
    }
    try {
        return result.get().get<int>(0) == 1;
    } catch (const core::InvocationError&) {
        return false;
    }
}

} // namespace

TEST(Load, TheReadersRoleIsHandedOnAmongCallersOfAllKinds) {
    // Some are answered at once, some by another thread, some never: each must end by its own reply or
    // deadline, though whoever reads for it changes all the time, and none may be left without a reader.
    TempDirectory directory;
    const auto service = std::make_shared<Scripted>();
    service->call = [&](std::shared_ptr<transport::IncomingCall> call) {
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
    const auto server = startServer(directory / "s", service);
    Client client(directory / "s");
    const auto invokable = client.found();
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 12; ++i)
        threads.emplace_back([&, i] {
            const bool help = i % 4 != 3;
            for (int round = 0; round < 40; ++round) {
                if (i % 3 == 0 && round % 10 == 0)
                    wrong += ends(*invokable, std::chrono::milliseconds(1 + round), "never", help) ? 1 : 0;
                else
                    wrong += ends(*invokable, 30s, i % 3 == 1 ? "later" : "now", help) ? 0 : 1;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Load, CallbacksAndCallsInBothDirections) {
    TempDirectory directory;
    const auto service = std::make_shared<Scripted>();
    service->call = [](std::shared_ptr<transport::IncomingCall> call) {
        const auto id = call->arguments().get<boost::uuids::uuid>(0);
        call->client()->callBack(id, {}, 30s,
                                 {[call](core::GenericPayload value) { call->reply(std::move(value)); },
                                  [call](auto) { call->reply(core::GenericPayload::of(-1)); }});
    };
    const auto server = startServer(directory / "s", service);
    Client client(directory / "s");
    const auto invokable = client.found();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 25; ++round) {
                const auto id = login::detail::createUuid();
                invokable->callbacks()->add(id,
                                            {[i](auto, auto) { return core::GenericPayload::of(i); },
                                             core::SignatureDescriptor::of<int()>()},
                                            1U);
                EXPECT_EQ(callAndHelp<int>(*invokable, 30s, "m", id), i);
                EXPECT_EQ(callAndHelp<int>(*invokable, 30s, "m", id), -1) << "its limit of calls is used up";
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(invokable->callbacks()->size(), 0U);
}

} // namespace transport_test
