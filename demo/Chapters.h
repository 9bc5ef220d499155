#pragma once

#include "demo/Narrator.h"
#include "demo/Services.h"
#include "demo/ShellCommand.h"
#include "host/Host.h"
#include "hshd/process/DaemonProcess.h"

namespace demo {

/// What the daemon is told to answer as its endpoint.
inline constexpr char endpoint[] = "https://login.example.test";

/// Asks everything that can be asked while nobody is signed in.
void askEverything(Narrator& narrator, const Services& services);
/// Signs somebody in, reads tokens, keeps the identity.
void impersonate(Narrator& narrator, const Services& services);
/// What a shell sees: the program zelkorlogin beside a daemon and, at the end, without one.
void askFromShell(Narrator& narrator, const Shell& shell, hshd::DaemonProcess& daemon);
/// A call made while there is no daemon, which ends when its time is over; another which ends when one
/// appears.
void waitForDaemon(Narrator& narrator, zelkor::host::Host& host, const Services& services,
                   hshd::DaemonProcess& daemon);
/// Kills the daemon while calls are under way, starts it again: what it held is still there.
void killDuringCalls(Narrator& narrator, const Services& services, hshd::DaemonProcess& daemon);

/// Registrations made once, which each daemon learns of; a logout that is vetoed, then not, then done.
void keepRegistrations(Narrator& narrator, const Services& services, hshd::DaemonProcess& daemon);

/// The session of this process, joined with the daemon, and the sessions of other processes beside it.
void liveASession(Narrator& narrator, zelkor::host::Host& host, const Shell& shell);

/// A person signs in and out, whose answers come from a file.
void signInAndOut(Narrator& narrator, zelkor::host::Host& host, const Shell& shell);

/// A daemon that only speaks version 1, and the client that does, too.
void speakVersion1(Narrator& narrator, zelkor::host::Host& host, const Shell& shell,
                   hshd::DaemonProcess& oldDaemon);

} // namespace demo
