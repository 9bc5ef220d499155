#include "host/prompt/TerminalPrompt.h"

#include "host/commands/PrintableText.h"
#include "host/prompt/QrCode.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace zelkor::host {

namespace {

using std::chrono::seconds;

std::string clock(seconds left) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02lld", static_cast<long long>(left.count() / 60),
                  static_cast<long long>(left.count() % 60));
    return text.data();
}

} // namespace

std::optional<login::prompt::Credentials> TerminalPrompt::askCredentials(const std::string& message,
                                                                         const std::string& account) {
    requireTerminal();
    if (!message.empty())
        terminal_.say(printable(message) + "\n");
    login::prompt::Credentials given{account, {}};
    if (account.empty()) {
        auto typed = terminal_.ask("Account: ");
        if (!typed)
            return std::nullopt;
        given.account = std::move(*typed);
    } else {
        terminal_.say("Account: " + printable(account) + "\n");
    }
    auto password = terminal_.ask("Password: ", /*hidden=*/true);
    if (!password)
        return std::nullopt;
    given.password = std::move(*password);
    return given;
}

std::optional<bool> TerminalPrompt::askConsent(const std::string& message) {
    requireTerminal();
    if (!message.empty())
        terminal_.say(printable(message) + "\n");
    const auto typed = terminal_.ask("Log out all the same? [y/N] ");
    if (!typed)
        return std::nullopt;
    return *typed == "y" || *typed == "Y" || *typed == "yes";
}

bool TerminalPrompt::openAddress(const std::string& address) {
    if (!browser_ || !login::prompt::openInBrowser(address))
        return false;
    say("A browser was opened; sign in there. If it shows nothing, open this address yourself:\n\n  " +
        printable(address) + "\n\n");
    return true;
}

bool TerminalPrompt::showCode(const login::prompt::DeviceCode& code) {
    say("To sign in, open this address on any device:\n\n  " + printable(code.address) +
        "\n\nand type this code there:\n\n  " + printable(code.code) + "\n\n" +
        (terminal_.available() ? qrCode(code.completeAddress) : ""));
    if (!terminal_.available())
        return true;
    countdown_ = std::jthread(
        [this, stop = cancelled_.get_token(), ends = std::chrono::steady_clock::now() + code.lasts] {
            std::mutex mutex;
            std::condition_variable_any changed;
            std::unique_lock lock(mutex);
            while (!stop.stop_requested()) {
                const auto left = std::chrono::ceil<seconds>(ends - std::chrono::steady_clock::now());
                if (left.count() < 0)
                    break;
                terminal_.say("\rWaiting for you, " + clock(left) + " left. Ctrl-C gives up. ");
                changed.wait_for(lock, stop, seconds(1), [] { return false; });
            }
            terminal_.say("\r\x1b[K"); // the line is over
        });
    return true;
}

void TerminalPrompt::cancel() noexcept {
    terminal_.cancel();
    cancelled_.request_stop();
}

void TerminalPrompt::say(const std::string& text) const {
    if (terminal_.available())
        terminal_.say(text);
    else
        std::cerr << text << std::flush;
}

void TerminalPrompt::requireTerminal() const {
    if (!terminal_.available())
        throw std::runtime_error("there is no terminal to ask in");
}

} // namespace zelkor::host
