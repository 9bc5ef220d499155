#pragma once

#include "hshd/state/LoginState.h"
#include "hshd/services/Registrations.h"

#include <chrono>

namespace hshd {

/// Tells status listeners, functions of two login records, of changes: the identity that now holds, then the
/// previous one. Each listener hears of the changes in their order; one that is slow, fails or is gone costs
/// a log line and delays no other.
class StatusNotifier {
public:
    /// @param limit the time a listener has for one change.
    StatusNotifier(Registrations& listeners, std::chrono::milliseconds limit)
        : listeners_(listeners), limit_(limit) {}

    /// Never blocks and does not throw.
    void notify(const StatusChange& change) const noexcept;

private:
    Registrations& listeners_;
    const std::chrono::milliseconds limit_;
};

} // namespace hshd
