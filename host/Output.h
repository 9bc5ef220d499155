#pragma once

#include <string_view>

namespace zelkor::host {

/// Where a command that goes on writes what it has to say, line by line.
struct Output {
    int descriptor;
    bool json = false; ///< one JSON object a line instead of text

    /// Writes all of it, and waits for a slow reader, but not beyond an interruption; there has to be an
    /// Interruption. False when it was not all written.
    bool write(std::string_view text) const;
};

} // namespace zelkor::host
