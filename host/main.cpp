// zelkorlogin: the login services of this user's daemon, for people and scripts.

#include "host/CommandLine.h"
#include "host/Patience.h"
#include "host/ProviderCheck.h"
#include "host/commands/LoginCommand.h"
#include "host/commands/LogoutCommand.h"
#include "host/commands/NegotiateCommand.h"
#include "host/commands/PrintableText.h"
#include "host/commands/StatusCommand.h"
#include "host/commands/TokenCommand.h"
#include "host/commands/VetoCommand.h"
#include "host/commands/WatchCommand.h"

#include <foundation/log/setup.h>

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

using namespace zelkor::host;

constexpr char footer[] = "Exit codes: 0 done, or logged in; 1 nobody is logged in at that level (status, "
                          "token); 2 wrong usage or\n"
                          "configuration; 3 the daemon is absent or did not answer; 4 refused; veto ends\n"
                          "with what its program ends with.\n"
                          "The options above are accepted after the command, too.";

std::string checkLogLevel(const std::string& text) {
    try {
        foundation::log::SeverityFilter::parse(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

void addOptions(CLI::App& app, CommandLine& line) {
    app.add_flag("--json", line.json, "Print one JSON object instead of text");
    app.add_flag("--direct", line.direct, "Ask the daemon itself, past this process's own session");
    app.add_option("--timeout", line.timeout,
                   "End within this time (default: 5 for finding the daemon, and as configured for each "
                   "answer)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600).description(""));
    app.add_option("--config", line.configurationFile, "JSON file with bundle and component configurations")
        ->type_name("FILE");
    app.add_option("--bundle", line.module, "The login module's library (default: found beside the program)")
        ->type_name("FILE");
    app.add_option("--socket-dir", line.socketDirectory,
                   "Directory of the daemon's socket (default: as configured, or where hshd puts it by "
                   "itself)")
        ->type_name("DIR");
    app.add_option("--log-level", line.logLevel,
                   "Least severity logged to the error stream: debug, info, warning, notice, error, severe, "
                   "all or off")
        ->type_name("LEVEL")
        ->check(checkLogLevel)
        ->capture_default_str();
}

Result failed(ExitCode code, const std::string& error, const std::string& advice = {}) {
    return {.code = code,
            .text = {},
            .note =
                "zelkorlogin: " + printable(error) + "\n" + (advice.empty() ? "" : printable(advice) + "\n"),
            .json = {{"error", error + (advice.empty() ? "" : " " + advice)}}};
}

int print(Result result, bool json) {
    result.json["exitCode"] = static_cast<int>(result.code);
    if (json)
        std::cout << jsonLine(result.json) << std::flush;
    else
        std::cout << result.text << std::flush;
    if (!json || result.json.contains("error"))
        std::cerr << result.note << std::flush;
    if (!std::cout) {
        std::cerr << "zelkorlogin: the standard output cannot be written to\n";
        return static_cast<int>(ExitCode::Configuration);
    }
    return static_cast<int>(result.code);
}

/// What only waits for the daemon says so on a terminal, and ends with --timeout whatever is missing.
std::unique_ptr<Patience> watchOver(const CommandLine& line, const Session& session) {
    // What the command has found out by the very end is the better answer.
    constexpr std::chrono::milliseconds grace{250};
    auto end = session.deadline();
    if (end)
        *end += grace;
    std::function<void()> tell;
    if (!line.json && ::isatty(STDERR_FILENO) != 0)
        tell = [] { std::cerr << "Waiting for the daemon; Ctrl-C ends it.\n" << std::flush; };
    return std::make_unique<Patience>(tell, end, [line] {
        ::_exit(print(failed(ExitCode::NoAnswer,
                             "the daemon did not answer within the " + std::to_string(*line.timeout) +
                                 " s of --timeout",
                             "It is slow, or hangs: see its log"),
                      line.json));
    });
}

Result run(const CommandLine& line, Command& command, const Output& output) {
    try {
        foundation::log::Options log;
        log.console = line.logFilter();
        foundation::log::setup(log);
        Session session(line.hostOptions(), line.limit(), line.direct);
        if (!command.waitsForDaemonOnly())
            return command.run(session, output);
        const auto patience = watchOver(line, session);
        auto result = command.run(session, output);
        patience->over();
        return result;
    } catch (const NoAnswer& error) {
        return failed(ExitCode::NoAnswer, error.what(), error.advice);
    } catch (const std::exception& error) {
        return failed(ExitCode::Configuration, error.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<StatusCommand>());
    commands.push_back(std::make_unique<TokenCommand>());
    commands.push_back(std::make_unique<LoginCommand>());
    commands.push_back(std::make_unique<LogoutCommand>());
    commands.push_back(std::make_unique<NegotiateCommand>());
    commands.push_back(std::make_unique<WatchCommand>());
    commands.push_back(std::make_unique<VetoCommand>());

    CommandLine line;
    CLI::App app("Asks this user's login daemon through the login module.", "zelkorlogin");
    app.footer(footer);
    app.set_version_flag("--version", "zelkorlogin " ZELKOR_HOST_RELEASE, "Print the version and exit");
    app.require_subcommand(1);
    app.fallthrough();
    addOptions(app, line);
    Command* chosen = nullptr;
    for (const auto& command : commands) {
        auto* subcommand = app.add_subcommand(command->name(), command->description());
        command->addOptions(*subcommand);
        subcommand->callback([&chosen, &command] { chosen = command.get(); });
    }
    std::string providerFile;
    auto* provider = app.add_subcommand("provider", "Look at the identity provider that hshd is to use");
    provider->require_subcommand(1);
    provider->add_subcommand("check", "Ask the provider whether what its file says fits, without the daemon")
        ->add_option("FILE", providerFile, "The file for hshd --provider")
        ->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::Configuration);
    }
    if (!chosen)
        return checkProvider(providerFile);
    const Output output{STDOUT_FILENO, line.json};
    const auto result = run(line, *chosen, output);
    // One that went on has said all it has to say.
    return result.json.empty() ? static_cast<int>(result.code) : print(result, line.json);
}
