#pragma once

#include "contract/records/LoginInfo.h"
#include "host/Interruption.h"

#include <foundation/thread_annotations.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>

namespace zelkor::host {

/// Something that happened to the login or to the daemon.
struct LoginEvent {
    enum class Kind { State, DaemonFound, DaemonGone, Dropped };

    /// Of who is signed in, keeps what is told of it.
    static LoginEvent state(const login::LoginInfo& info);
    static LoginEvent daemonFound(const std::string& generation);
    /// @param why for people; empty when nothing more is known.
    static LoginEvent daemonGone(const std::string& why = {});

    Kind kind = Kind::State;
    login::LoginInfo info;  ///< State
    std::string generation; ///< DaemonFound
    std::string why;        ///< DaemonGone; may be empty
    int dropped = 0;        ///< Dropped: how many events
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

/// Events from any thread for the one that writes them. When that one is too slow the oldest are dropped,
/// and it is told how many. SIGINT and SIGTERM end the waiting for as long as this lives; one at a time.
class LoginEvents {
public:
    void push(LoginEvent event) EXCLUDES(mutex_);
    /// Ahead of those that wait.
    void pushFirst(LoginEvent event) EXCLUDES(mutex_);
    /// The next event; nothing once the program was interrupted.
    std::optional<LoginEvent> wait() EXCLUDES(mutex_);

private:
    std::optional<LoginEvent> pop() EXCLUDES(mutex_);

    Interruption interruption_{ExitCode::Ok}; ///< to be interrupted is how a watch ends
    foundation::Mutex mutex_;                 ///< a leaf
    std::deque<LoginEvent> events_ GUARDED_BY(mutex_);
    int dropped_ GUARDED_BY(mutex_) = 0; ///< since the last pop()
};

} // namespace zelkor::host
