#pragma once

#include "host/commands/Command.h"

#include <string>
#include <vector>

namespace zelkor::host {

/// Runs a program, and objects to every logout until that has ended. The exit code is the program's, 128 and
/// the signal's number for one that a signal ended, 127 for one that cannot be run.
class VetoCommand final : public Command {
public:
    std::string name() const override { return "veto"; }
    std::string description() const override { return "Object to every logout while a program runs"; }
    void addOptions(CLI::App& app) override;
    bool waitsForDaemonOnly() const override { return false; }
    Result run(Session& session, const Output& output) override;

private:
    std::string reason_;
    std::vector<std::string> program_;
};

} // namespace zelkor::host
