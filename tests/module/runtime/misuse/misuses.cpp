// What must not compile, each alone: MISUSE says which. Without one, everything does.

#include "module/runtime/StateLock.h"

#include <mutex>
#include <shared_mutex>

using namespace agent::spf::cppmsclientutils;

int use(StateLock& state, Guarded<int>& guarded, std::shared_mutex& someMutex) {
#if MISUSE == 1 // without the lock
    return guarded();
#elif MISUSE == 2 // with another kind of lock
    std::unique_lock lock(someMutex);
    return guarded(lock);
#elif MISUSE == 3 // with a lock that is not held
    ExclusiveAccess access(state);
    return guarded(access);
#elif MISUSE == 4 // letting go of it behind its holder's back
    ExclusiveHold hold(state);
    hold.access().unlock();
    return guarded(hold.access());
#elif MISUSE == 5 // sharing it while holding it; clang sees this one
    ExclusiveHold hold(state);
    SharedHold shared(state);
    return guarded(shared.access());
#elif MISUSE == 6 // taking the proof along
    ExclusiveHold hold(state);
    ExclusiveAccess kept = std::move(hold.access());
    return guarded(kept);
#else
    static_cast<void>(someMutex);
    ExclusiveHold hold(state);
    return guarded(hold.access());
#endif
}
