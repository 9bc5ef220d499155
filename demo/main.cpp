// Walks the main job with real processes: this one is the host, hshd is started as a process of its own.

#include "demo/Chapters.h"
#include "demo/ProviderChapter.h"
#include "host/ModuleFile.h"

#include <foundation/log/setup.h>

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace {

/// A directory of its own, gone at the end.
class Workplace {
public:
    Workplace() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zelkor-demo-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("cannot make a directory in " +
                                     std::filesystem::temp_directory_path().string());
        path_ = pattern;
    }
    ~Workplace() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// An account with a password, and a person who knows it.
void writeAccount(const std::filesystem::path& place, const std::filesystem::path& hshd) {
    auto made = demo::ShellCommand::run(
        "/bin/sh", {"-c", "echo demo-password | '" + hshd.string() + "' --hash-password"});
    while (!made.output.empty() && made.output.back() == '\n')
        made.output.pop_back();
    std::ofstream(place / "accounts.json")
        << R"({"accounts": [{"name": "ada", "displayName": "Ada Lovelace", "email": "ada@example.test",)"
        << R"("passwordHash": ")" << made.output << R"("}]})";
    std::ofstream(place / "answers.json")
        << R"({"account": "ada", "password": "demo-password", "consent": true})";
    using std::filesystem::perms;
    permissions(place / "answers.json", perms::owner_read | perms::owner_write);
}

int run(const std::filesystem::path& program, const std::filesystem::path& zelkorlogin,
        const std::filesystem::path& provider) {
    demo::Narrator narrator;
    const Workplace workplace;
    writeAccount(workplace.path(), program);
    const auto daemonWith = [&](const char* versions) {
        return hshd::DaemonProcess::Options{
            .program = program,
            .socketDirectory = workplace.path() / "run",
            .stateDirectory = workplace.path() / "state",
            .arguments = {"--endpoint", demo::endpoint, "--accounts", workplace.path() / "accounts.json",
                          "--unattended", workplace.path() / "answers.json", "--versions", versions},
            .errorFile = workplace.path() / "hshd.log"};
    };
    hshd::DaemonProcess daemon(daemonWith("both"));
    daemon.start();
    narrator.say("hshd runs as process " + std::to_string(daemon.pid()) + ", this host as " +
                 std::to_string(::getpid()));
    {
        zelkor::host::HostOptions options;
        options.module = zelkor::host::findModule(zelkorlogin.parent_path());
        options.connector.socketDirectory = workplace.path() / "run";
        options.connector.clientId = "demo";
        zelkor::host::Host host(options);
        const demo::Services services(host, zelkor::host::among::daemonClients);
        narrator.say("the services come from " + services.login.component);
        demo::askEverything(narrator, services);
        demo::impersonate(narrator, services);
        const demo::Shell shell(narrator, zelkorlogin, workplace.path() / "run");
        demo::askFromShell(narrator, shell, daemon);
        demo::waitForDaemon(narrator, host, services, daemon);
        demo::killDuringCalls(narrator, services, daemon);
        demo::keepRegistrations(narrator, services, daemon);
        demo::liveASession(narrator, host, shell);
        demo::signInAndOut(narrator, host, shell);
        narrator.expect("SIGTERM to the daemon: exit code", std::to_string(daemon.stop()), "0");
        hshd::DaemonProcess oldDaemon(daemonWith("1"));
        demo::speakVersion1(narrator, host, shell, oldDaemon);
        narrator.expect("SIGTERM to the daemon: exit code", std::to_string(oldDaemon.stop()), "0");
        if (!provider.empty())
            demo::ProviderChapter(narrator, {workplace.path(), provider, program, zelkorlogin}).tell(shell);
    }
    if (narrator.failures() == 0)
        std::cout << "\nEverything is as it should be." << std::endl;
    else
        std::cout << '\n' << narrator.failures() << " of the lines above are marked BAD." << std::endl;
    return narrator.failures() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Shows the login module at work against a daemon of its own.");
    std::filesystem::path hshd, zelkorlogin, provider;
    std::string level = "off";
    app.add_option("--hshd", hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--zelkorlogin", zelkorlogin, "The program zelkorlogin, with the module beside it")
        ->required()
        ->check(CLI::ExistingFile);
    app.add_option("--provider", provider,
                   "The directory of an identity provider's scripts, for a chapter with it")
        ->check(CLI::ExistingDirectory);
    app.add_option("--log-level", level, "What of the module's log goes to the error stream")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        foundation::log::Options log;
        log.console = foundation::log::SeverityFilter::parse(level);
        foundation::log::setup(log);
        return run(hshd, zelkorlogin, provider);
    } catch (const std::exception& error) {
        std::cerr << "zelkor-demo: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
