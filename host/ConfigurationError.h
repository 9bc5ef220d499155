#pragma once

#include <stdexcept>

namespace zelkor::host {

/// The process cannot be set up as it was told to; the text names the file, key or component, and says what
/// to do.
class ConfigurationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace zelkor::host
