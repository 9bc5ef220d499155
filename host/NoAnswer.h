#pragma once

#include <stdexcept>

namespace zelkor::host {

/// The daemon is absent, or did not answer in time; the text says what to do.
class NoAnswer : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace zelkor::host
