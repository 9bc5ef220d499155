#pragma once

#include <ostream>

namespace zelkor::host {

/// Where a command that goes on writes what it has to say, line by line.
struct Output {
    std::ostream& out;
    bool json = false; ///< one JSON object a line instead of text
};

} // namespace zelkor::host
