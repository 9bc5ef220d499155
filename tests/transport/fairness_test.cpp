#include "Fixture.h"
#include "RawPeer.h"

namespace transport_test {

namespace {

Bytes callOf(std::uint64_t id, const char* method) {
    return frame([&](auto message) {
        auto call = message.initCall();
        call.setId(id);
        call.setRemainingMs(60'000);
        call.initTexts().setName(method);
    });
}

struct Fairness : Connection {
    RawPeer greeted() {
        RawPeer peer(directory / "s");
        peer.send(fillHello);
        EXPECT_TRUE(peer.receive([](auto message) { EXPECT_TRUE(message.isWelcome()); }));
        return peer;
    }
};

} // namespace

TEST_F(Fairness, AFloodOfCallsLetsAnotherClientsCallInBetween) {
    constexpr unsigned flood = 200; // in one write, which the daemon reads at once
    std::vector<std::string> served;
    std::promise<void> begun, otherHasCalled;
    service->call = [&](Incoming call) {
        served.push_back(call->method());
        if (served.size() == 1) {
            begun.set_value();
            otherHasCalled.get_future().wait();
        }
        call->reply({});
    };
    begin();
    auto flooding = greeted(), other = greeted();
    Bytes calls;
    for (unsigned i = 1; i <= flood; ++i) {
        const auto one = callOf(i, "flood");
        calls.insert(calls.end(), one.begin(), one.end());
    }
    flooding.send(calls);
    begun.get_future().wait();
    other.send(callOf(1, "other"));
    otherHasCalled.set_value();
    EXPECT_TRUE(other.receive());
    std::uint64_t expected = 1;
    while (expected <= flood &&
           flooding.receive([&](auto message) { EXPECT_EQ(message.getReply().getId(), expected); }))
        ++expected;
    EXPECT_EQ(expected, flood + 1) << "all of the flood is answered, in its order";
    const auto place = std::ranges::find(served, "other") - served.begin();
    EXPECT_LT(place, 32);
}

} // namespace transport_test
