#pragma once

#include <login/ZelkorLogin.h>

#include <functional>

namespace zelkor::bench {

/// Makes so many registrations, status listeners and negotiators by turns. `replayed` is called, on a thread
/// of the client's, each time that they have all been made with a new daemon.
void registerWith(login::ZelkorLogin& client, int count, std::function<void()> replayed);

} // namespace zelkor::bench
