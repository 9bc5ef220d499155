#pragma once

#include "host/commands/Command.h"

namespace zelkor::host {

/// Asks who would object to a logout, and logs nobody out.
class NegotiateCommand final : public Command {
public:
    std::string name() const override { return "negotiate"; }
    std::string description() const override { return "Ask who would object to a logout; log nobody out"; }
    Result run(Session& session, const Output& output) override;
};

} // namespace zelkor::host
