#pragma once

#include "host/Interruption.h"
#include "contract/records/LoginInfo.h"

#include <foundation/thread_annotations.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>

namespace zelkor::host {

/// Something that happened to the login or to the daemon.
struct LoginEvent {
    enum class Kind { State, DaemonFound, DaemonGone };

    Kind kind = Kind::State;
    login::LoginInfo info;  ///< State
    std::string generation; ///< DaemonFound
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

/// Events from any thread for the one that writes them. SIGINT and SIGTERM end the waiting for as long as
/// this lives; one at a time.
class LoginEvents {
public:
    void push(LoginEvent event) EXCLUDES(mutex_);
    /// Ahead of those that wait.
    void pushFirst(LoginEvent event) EXCLUDES(mutex_);
    /// The next event; nothing once the program was interrupted.
    std::optional<LoginEvent> wait() EXCLUDES(mutex_);

private:
    std::optional<LoginEvent> pop() EXCLUDES(mutex_);

    Interruption interruption_;
    foundation::Mutex mutex_; ///< a leaf
    std::deque<LoginEvent> events_ GUARDED_BY(mutex_);
};

} // namespace zelkor::host
