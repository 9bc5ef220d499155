#pragma once

#include <string>

namespace conformance {

struct Named {
    virtual ~Named() = default;
    virtual std::string Name() const = 0;
};

/// What the components of the bundle provide.
struct Probe {
    virtual ~Probe() = default;
    virtual std::string Tell() const = 0;
};

} // namespace conformance
