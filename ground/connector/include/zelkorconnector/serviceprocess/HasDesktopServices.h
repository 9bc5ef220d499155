#pragma once

namespace zelkorconnector::serviceprocess {

/// Marks a process that has desktop services. A component that refers to it exists only in such a process.
class HasDesktopServices {
public:
    virtual ~HasDesktopServices() = default;
};

} // namespace zelkorconnector::serviceprocess
