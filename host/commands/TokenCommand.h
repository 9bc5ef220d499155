#pragma once

#include "host/commands/Command.h"
#include "host/commands/LevelOption.h"

namespace zelkor::host {

/// Prints the access token, and nothing else, on the standard output.
class TokenCommand final : public Command {
public:
    std::string name() const override { return "token"; }
    std::string description() const override;
    void addOptions(CLI::App& app) override;
    Result run(Session& session, const Output& output) override;

private:
    LevelOption level_;
};

} // namespace zelkor::host
