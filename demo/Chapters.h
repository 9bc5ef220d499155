#pragma once

#include "demo/Host.h"
#include "demo/Narrator.h"
#include "platform/daemon/process/DaemonProcess.h"

namespace demo {

using Client = login::spf::ZelkorLogin;

/// What the daemon is told to answer as its endpoint.
inline constexpr char endpoint[] = "https://login.example.test";

/// Asks everything that can be asked while nobody is signed in.
void askEverything(Narrator& narrator, Client& client);
/// Signs somebody in, reads tokens, keeps the identity.
void impersonate(Narrator& narrator, Client& client);
/// A call made while there is no daemon, which ends when one appears; another which ends when its time is
/// over.
void waitForDaemon(Narrator& narrator, Host& host, hshd::DaemonProcess& daemon);
/// Kills the daemon while calls are under way, starts it again: what it held is still there.
void killDuringCalls(Narrator& narrator, Client& client, hshd::DaemonProcess& daemon);

} // namespace demo
