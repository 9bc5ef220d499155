#pragma once

#include "host/prompt/Terminal.h"

#include <login/prompt/SignInPrompt.h>

#include <stop_token>
#include <thread>

namespace zelkor::host {

/// Asks the person at this process's terminal. Without one nothing can be typed, but a code still be shown,
/// on the standard error stream.
class TerminalPrompt final : public login::prompt::SignInPrompt {
public:
    /// @param browser whether one may be opened
    explicit TerminalPrompt(bool browser) : browser_(browser) {}
    ~TerminalPrompt() override { cancel(); }

    std::optional<login::prompt::Credentials> askCredentials(const std::string& message,
                                                             const std::string& account) override;
    std::optional<bool> askConsent(const std::string& message) override;
    bool openAddress(const std::string& address) override;
    bool showCode(const login::prompt::DeviceCode& code) override;
    void cancel() noexcept override;

private:
    void say(const std::string& text) const;
    void requireTerminal() const;

    const bool browser_;
    Terminal terminal_;
    std::stop_source cancelled_;
    std::jthread countdown_; ///< of a code. Ends first
};

} // namespace zelkor::host
