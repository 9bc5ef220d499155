#pragma once

#include "host/commands/Command.h"
#include "host/commands/LevelOption.h"

namespace zelkor::host {

/// Signs a person in who is asked at this terminal.
class LoginCommand final : public Command {
public:
    std::string name() const override { return "login"; }
    std::string description() const override { return "Sign in; the account's password is asked for here"; }
    void addOptions(CLI::App& app) override;
    bool waitsForDaemonOnly() const override { return false; }
    Result run(Session& session, const Output& output) override;

private:
    LevelOption level_;
    std::string account_;
    bool remember_ = false;
    bool device_ = false;
    bool again_ = false;
};

} // namespace zelkor::host
