#pragma once

#include "host/commands/Command.h"

namespace zelkor::host {

/// Writes a line for each change of the login state and each start and end of the daemon, until it is
/// interrupted.
class WatchCommand final : public Command {
public:
    std::string name() const override { return "watch"; }
    std::string description() const override {
        return "Tell each change of the login state as it comes, until interrupted";
    }
    void addOptions(CLI::App& app) override;
    bool waitsForDaemonOnly() const override { return false; }
    Result run(Session& session, const Output& output) override;

private:
    int count_ = 0; ///< lines after which to end; 0: never
};

} // namespace zelkor::host
