#pragma once

#include "host/commands/Command.h"
#include "host/commands/LevelOption.h"

namespace zelkor::host {

/// Tells who is logged in, and how the daemon is reached.
class StatusCommand final : public Command {
public:
    std::string name() const override { return "status"; }
    std::string description() const override;
    void addOptions(CLI::App& app) override;
    Result run(Session& session, const Output& output) override;

private:
    Result listAll(Host& host) const;

    LevelOption level_;
    bool all_ = false;
};

} // namespace zelkor::host
