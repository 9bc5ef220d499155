#pragma once

#include "contract/records/LoginInfo.h"
#include "hshd/secrets/KeyStore.h"

#include <foundation/log/severity_filter.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace hshd {

/// What a run of the daemon is told.
struct Options {
    std::filesystem::path socketDirectory;
    std::filesystem::path stateDirectory;
    std::filesystem::path accountsFile; ///< empty: none
    std::filesystem::path providerFile; ///< empty: none; at most one of the two
    bool checkProvider = false;         ///< no daemon: try the provider, and say what is wrong

    struct SignIn {
        std::string account;
        std::optional<login::LoginInfo::Level> level; ///< the account's when empty
    };
    std::optional<SignIn> signedIn;

    std::chrono::milliseconds promptTimeout{120'000};
    std::chrono::milliseconds signInTimeout{600'000};
    KeyPlace secrets = KeyPlace::Automatic;
    std::filesystem::path keyringProgram; ///< empty: no keyring
    std::filesystem::path program;        ///< hshd itself, to be started for what must outlive it
    std::filesystem::path unattended;     ///< answers in the person's place; empty: the person is asked

    bool exchange = false;        ///< no daemon, but what one starts: @see oidc::Exchange
    bool hashPassword = false;    ///< no daemon: print the hash of a password
    bool allowCore = false;       ///< cores and debuggers may show secrets
    bool printVocabulary = false; ///< no daemon: print what it would answer

    std::filesystem::path script; ///< empty: the daemon behaves

    enum class Versions { First, Second, Both };
    Versions versions = Versions::Both; ///< of the login service

    std::string endpoint;
    std::chrono::milliseconds negotiationTimeout{5'000};
    std::chrono::milliseconds listenerTimeout{10'000};
    foundation::log::SeverityFilter logLevel =
        foundation::log::SeverityFilter::atLeast(foundation::log::logging_event_types::info);
    std::filesystem::path logFile; ///< empty: none
};

/// The command line asks for no run of the daemon: it is wrong, or asks for help or the version.
class NoRun : public std::runtime_error {
public:
    NoRun(const std::string& text, int exitCode) : std::runtime_error(text), exitCode_(exitCode) {}
    int exitCode() const noexcept { return exitCode_; }

private:
    int exitCode_;
};

constexpr int exitFailure = 1; ///< the daemon could not start
constexpr int exitUsage = 2;   ///< the command line is wrong

/// @throws NoRun with the text to print.
Options parseOptions(int argc, const char* const* argv);

} // namespace hshd
