#include "hshd/Options.h"

#include "hshd/Release.h"
#include "hshd/process/Child.h"

#include <agent/spf/transport/SocketDirectory.h>

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <map>
#include <sstream>

namespace hshd {
namespace {

using Level = login::LoginInfo::Level;

std::filesystem::path defaultStateDirectory() {
    if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state == '/')
        return std::filesystem::path(state) / "hshd";
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return std::filesystem::path(home) / ".local/state/hshd";
    return {};
}

Options::SignIn parseSignIn(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    Options::SignIn signIn{text.substr(0, colon), std::nullopt};
    if (signIn.account.empty())
        throw CLI::ValidationError("--signed-in", "the account's name is empty; write NAME or NAME:LEVEL");
    if (colon == std::string::npos)
        return signIn;
    const std::string level = text.substr(colon + 1);
    if (level.size() != 1 || level[0] < '1' || level[0] > '3')
        throw CLI::ValidationError("--signed-in",
                                   "the level '" + level +
                                       "' is not one of 1 (identified), 2 (signed in), 3 (confirmed)");
    signIn.level = static_cast<Level>(level[0] - '0');
    return signIn;
}

std::string checkLogLevel(const std::string& text) {
    try {
        foundation::log::SeverityFilter::parse(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(seconds * 1000));
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    options.socketDirectory = agent::spf::transport::defaultSocketDirectory();
    options.stateDirectory = defaultStateDirectory();
    std::string signedIn;
    std::string logLevel = "info";
    double negotiationSeconds = 5;
    double listenerSeconds = 10;
    double promptSeconds = 120;
    double signInSeconds = 600;
    std::string secrets = "auto";

    CLI::App app(
        "hshd, the login daemon. It keeps who is signed in and answers the login clients of this user.\n"
        "It ends cleanly on SIGTERM or SIGINT.",
        "hshd");
    app.set_version_flag("--version", release());
    app.add_option("--socket-dir", options.socketDirectory, "Directory of the socket that clients connect to")
        ->type_name("DIR")
        ->capture_default_str();
    auto* stateDir = app.add_option("--state-dir", options.stateDirectory,
                                    "Directory of the state; private to this user and this daemon");
    stateDir->type_name("DIR");
    options.stateDirectory.empty() ? stateDir->required() : stateDir->capture_default_str();
    app.add_option("--accounts", options.accountsFile, "JSON file of the accounts that can be signed in")
        ->type_name("FILE");
    app.add_option("--provider", options.providerFile,
                   "JSON file of the OpenID Connect provider at which people sign in")
        ->type_name("FILE")
        ->excludes("--accounts");
    app.add_flag("--check-provider", options.checkProvider,
                 "Ask the provider whether what --provider says fits, and end")
        ->needs("--provider");
    app.add_option("--secrets", secrets,
                   "Where the key of the stored tokens is kept: keyring (the desktop's), file (in the state "
                   "directory), or auto: where it is, else the keyring when there is one")
        ->check(CLI::IsMember({"auto", "keyring", "file"}).description(""))
        ->type_name("PLACE")
        ->default_str("auto");
    app.add_option(
           "--signed-in", signedIn,
           "Start with this account signed in; without --accounts any name will do. LEVEL is 1 (identified), "
           "2 (signed in) or 3 (confirmed)")
        ->type_name("NAME[:LEVEL]");
    app.add_option("--versions", options.versions,
                   "Which versions of the login service to offer: 1, 2 or both")
        ->transform(
            CLI::Transformer(std::map<std::string, Options::Versions>{{"1", Options::Versions::First},
                                                                      {"2", Options::Versions::Second},
                                                                      {"both", Options::Versions::Both}})
                .description(""))
        ->type_name("VERSIONS")
        ->default_str("both");
    app.add_option("--endpoint", options.endpoint,
                   "Login endpoint told to clients until an identity brings its own")
        ->type_name("URL");
    app.add_option("--negotiation-timeout", negotiationSeconds, "Time for logout negotiators to answer")
        ->check(CLI::Range(0.001, 3600.0).description(""))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option("--listener-timeout", listenerSeconds, "Time for a status listener to take a change")
        ->check(CLI::Range(0.001, 3600.0).description(""))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option("--prompt-timeout", promptSeconds, "Time for the person to answer a question")
        ->check(CLI::Range(0.001, 3600.0).description(""))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option("--sign-in-timeout", signInSeconds,
                   "Time for the person to sign in at the provider, in a browser")
        ->check(CLI::Range(0.001, 36000.0).description(""))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option(
           "--unattended", options.unattended,
           "JSON file of the account, the password and the consent that answer in the person's place; "
           "for tests")
        ->type_name("FILE");
    app.add_flag("--allow-core", options.allowCore,
                 "Let a crash leave a core file, and debuggers attach; both can show secrets");
    app.add_flag("--exchange", options.exchange)->group(""); // hshd's own
    app.add_flag("--hash-password", options.hashPassword,
                 "Read a password from the standard input and print its hash for the accounts file");
    app.add_flag("--print-vocabulary", options.printVocabulary,
                 "Print the services with their methods and signatures, one line each");
    app.add_option("--script", options.script,
                   "JSON file that tells how to misbehave, for testing clients; see docs/daemon.md")
        ->type_name("FILE");
    app.add_option("--log-level", logLevel,
                   "Least severity to log: debug, info, warning, notice, error, severe, all or off")
        ->type_name("LEVEL")
        ->check(checkLogLevel)
        ->capture_default_str();
    app.add_option("--log-file", options.logFile, "Log to this file too")->type_name("FILE");

    try {
        app.parse(argc, argv);
        if (!signedIn.empty())
            options.signedIn = parseSignIn(signedIn);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream problem;
        const int code = app.exit(error, out, problem);
        throw NoRun(out.str() + problem.str(), code == 0 ? 0 : exitUsage);
    }
    options.negotiationTimeout = milliseconds(negotiationSeconds);
    options.listenerTimeout = milliseconds(listenerSeconds);
    options.promptTimeout = milliseconds(promptSeconds);
    options.signInTimeout = milliseconds(signInSeconds);
    options.secrets = keyPlace(secrets);
    options.program = ownProgram();
    options.keyringProgram = besideOwnProgram("hshd-keyring");
    options.logLevel = foundation::log::SeverityFilter::parse(logLevel);
    return options;
}

} // namespace hshd
