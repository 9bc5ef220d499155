#pragma once

#include "host/commands/Command.h"

namespace zelkor::host {

/// Logs out when nobody objects, or without asking.
class LogoutCommand final : public Command {
public:
    std::string name() const override { return "logout"; }
    std::string description() const override;
    void addOptions(CLI::App& app) override;
    bool waitsForDaemonOnly() const override { return !ask_; }
    Result run(Session& session, const Output& output) override;

private:
    Result ask(Session& session) const;

    bool force_ = false;
    bool ask_ = false;
    bool forget_ = false;
};

} // namespace zelkor::host
