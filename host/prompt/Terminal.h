#pragma once

#include <optional>
#include <string>

namespace zelkor::host {

/// The terminal that this process was started from, to ask the person at it. Used by one thread; cancel() may
/// be called from any.
class Terminal {
public:
    Terminal();
    /// Shows what is typed again, if it was hidden.
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Whether there is one.
    bool available() const noexcept { return terminal_ >= 0; }
    void say(const std::string& text) const;
    /// The line that the person types, without its end. Nothing when they end the input, when cancel() was
    /// called, and without a terminal.
    /// @param hidden what is typed does not show.
    std::optional<std::string> ask(const std::string& question, bool hidden = false);
    /// Ends the question that is being asked, and all later ones.
    void cancel() noexcept;

private:
    std::optional<std::string> readLine();

    int terminal_;
    int cancelled_;
};

} // namespace zelkor::host
