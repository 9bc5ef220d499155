#pragma once

#include "contract/calls/CallbackTable.h"
#include "contract/calls/ExportedCallback.h"

#include <boost/uuid/uuid.hpp>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace agent::spf::core {

/// The callbacks that one client has exported through one Invokable. Everything exported dies with it.
///
/// Thread-safe. No operation, the destructor included, waits for a running callback. Removing hands the
/// functions back, so that an owner who holds a lock can release them after it.
class CallbackManager {
public:
    explicit CallbackManager(std::shared_ptr<CallbackTable> table) : table_(std::move(table)) {}
    ~CallbackManager();
    CallbackManager(const CallbackManager&) = delete;
    CallbackManager& operator=(const CallbackManager&) = delete;

    /// Exports a function under a fresh random uuid.
    /// @param callLimit the daemon may call it so many times; no limit when empty.
    /// @param label, flag are part of the interface and mean nothing to this implementation.
    /// @throws RefusedError when the connection has too many callbacks, boost::uuids::entropy_error without
    /// randomness.
    ExportedCallback makeExportedCallback(ExportedFunction function, std::optional<unsigned int> callLimit,
                                          std::optional<std::string> label, bool flag);

    /// Withdraws callbacks: from now on the daemon gets an error when it calls them.
    [[nodiscard]] CallbackTable::Withdrawn removeCallback(const boost::uuids::uuid& id);
    [[nodiscard]] CallbackTable::Withdrawn removeAllCallbacks();

private:
    const std::shared_ptr<CallbackTable> table_;
};

} // namespace agent::spf::core
