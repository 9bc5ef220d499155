#pragma once

#include <string>

namespace demo {

/// Tells what the demo does while it does it, and counts what is not as it should be.
class Narrator {
public:
    void chapter(const std::string& title);
    void say(const std::string& text) const;
    /// Prints the fact, marked good or bad.
    void check(bool good, const std::string& fact);
    /// For a value: prints it, and what it should have been when it is something else.
    void expect(const std::string& what, const std::string& value, const std::string& wanted);

    int failures() const noexcept { return failures_; }

private:
    int chapters_ = 0;
    int failures_ = 0;
};

} // namespace demo
