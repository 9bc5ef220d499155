#pragma once

#include <foundation/concurrent/threadpool/Executor.h>

namespace agent::spf::cppmsclientutils {

/// Where a client's work runs: two pools, so that functions of the application that block, however many,
/// never keep the client from noticing its daemon. Both outlive the client and the calls that are on their
/// way.
struct Executors {
    using Executor = foundation::concurrent::threadpool::Executor;

    /// Those of the process.
    Executors() : Executors(Executor::instance(), Executor::eventInstance()) {}
    Executors(Executor& callbackPool, Executor& eventPool) : callbacks(callbackPool), events(eventPool) {}
    /// One for both.
    Executors(Executor& both) : Executors(both, both) {} // NOLINT: a conversion

    Executor& callbacks; ///< runs the application's functions
    Executor& events;    ///< runs found and removed reactions, and what a callback has left to be done
};

} // namespace agent::spf::cppmsclientutils
