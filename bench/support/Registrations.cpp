#include "bench/support/Registrations.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace zelkor::bench {

void registerWith(login::ZelkorLogin& client, int count, std::function<void()> replayed) {
    const auto made = [](const auto& id) {
        if (id.isEmpty())
            throw std::runtime_error("a registration failed");
    };
    // All are made before the first listener is told of the new daemon.
    made(client.addStatusListenerV2(
        [replayed = std::move(replayed)](const auto&, const auto&) { replayed(); }));
    for (int i = 1; i < count; ++i) {
        if (i % 2 == 0)
            made(client.addStatusListenerV2([](const auto&, const auto&) {}));
        else
            made(client.addLogoutNegotiator(
                {"bench-" + std::to_string(i), [](const auto&) {
                     return login::NegotiatorResponse{login::Negotiator::Position::Accept, u""};
                 }}));
    }
}

} // namespace zelkor::bench
