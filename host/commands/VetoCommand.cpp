#include "host/commands/VetoCommand.h"

#include "contract/records/Utf.h"
#include "host/NoAnswer.h"
#include "host/commands/PrintableText.h"

#include <login/ZelkorLogin.h>

#include <CLI/CLI.hpp>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zelkor::host {

namespace {

std::atomic<pid_t> running = 0;    // 0: none
std::atomic<int> toBePassedOn = 0; // a signal; 0: none

void passOn() noexcept {
    const pid_t program = running;
    if (program == 0)
        return;
    if (const int signal = toBePassedOn.exchange(0); signal != 0)
        ::kill(program, signal);
}

/// What is meant for this process is the program's, too; one from the terminal reaches it by itself.
class SignalsPassedOn {
public:
    SignalsPassedOn() {
        struct sigaction action {};
        action.sa_handler = [](int signal) {
            toBePassedOn = signal;
            passOn();
        };
        ::sigaction(SIGTERM, &action, &term_);
        ::sigaction(SIGHUP, &action, &hup_);
        action.sa_handler = SIG_IGN;
        ::sigaction(SIGINT, &action, &int_);
        ::sigaction(SIGQUIT, &action, &quit_);
    }
    ~SignalsPassedOn() {
        running = 0;
        ::sigaction(SIGTERM, &term_, nullptr);
        ::sigaction(SIGHUP, &hup_, nullptr);
        ::sigaction(SIGINT, &int_, nullptr);
        ::sigaction(SIGQUIT, &quit_, nullptr);
    }
    SignalsPassedOn(const SignalsPassedOn&) = delete;
    SignalsPassedOn& operator=(const SignalsPassedOn&) = delete;

private:
    struct sigaction term_ {
    }, hup_{}, int_{}, quit_{};
};

/// @return 0, or why it cannot be run, as errno.
int spawn(const std::vector<std::string>& program, pid_t& pid) {
    std::vector<char*> arguments;
    for (const auto& argument : program)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    sigset_t own;
    sigemptyset(&own);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP})
        sigaddset(&own, signal);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigdefault(&attributes, &own);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error =
        ::posix_spawnp(&pid, arguments.front(), nullptr, &attributes, arguments.data(), ::environ);
    ::posix_spawnattr_destroy(&attributes);
    return error;
}

int exitCodeOf(pid_t program) {
    siginfo_t ended{};
    while (::waitid(P_PID, static_cast<id_t>(program), &ended, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
    }
    running = 0; // before its number can be another process's
    int status = 0;
    ::waitpid(program, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

void VetoCommand::addOptions(CLI::App& app) {
    app.add_option("--reason", reason_, "Shown to who wants to log out (default: the program's name)")
        ->type_name("TEXT");
    app.add_option("program", program_, "The program and its arguments; put -- before them")->required();
    app.positionals_at_end();
}

Result VetoCommand::run(Session& session, const Output& /*output*/) {
    session.requireDaemon();
    const auto login = session.host().get<login::ZelkorLogin>(among::daemonClients);
    const auto name = std::filesystem::path(program_.front()).filename().string();
    const auto reason = login::toUtf16(reason_.empty() ? name + " runs" : reason_);
    const auto id = session.ask([&] {
        return login->addLogoutNegotiator(
            {"zelkorlogin veto " + name, [reason](const auto&) {
                 return login::NegotiatorResponse{login::Negotiator::Position::Object, reason};
             }});
    });
    if (id.isEmpty())
        throw NoAnswer("the daemon did not take the veto", "See its log");
    constexpr int notRun = 127;
    Result result{.code = static_cast<ExitCode>(notRun), .text = {}, .note = {}, .json = {}};
    {
        const SignalsPassedOn passedOn;
        pid_t program = 0;
        if (const int error = spawn(program_, program); error != 0) {
            const auto problem = name + " cannot be run: " + std::strerror(error);
            result.note = "zelkorlogin: " + printable(problem) + "\n";
            result.json["error"] = problem;
        } else {
            running = program;
            passOn(); // one that came before
            result.code = static_cast<ExitCode>(exitCodeOf(program));
        }
    }
    login->removeLogoutNegotiator(id);
    return result;
}

} // namespace zelkor::host
