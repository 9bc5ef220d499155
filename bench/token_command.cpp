// What a script waits for: `zelkorlogin token` as a process of its own, from its start to its end, with the
// daemon running; against a process that does nothing. The two take turns.

#include "bench/support/ClientHost.h"
#include "bench/support/Daemon.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zelkor::bench {

using Milliseconds = std::chrono::duration<double, std::milli>;

struct Settings {
    std::string hshd;
    std::string program;
    std::string idle = "/bin/true";
    int rounds = 100;
};

/// Until the program has ended.
/// @throws std::runtime_error when it did not exit with 0.
Milliseconds timeOf(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (auto& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = 0;
    const auto begin = std::chrono::steady_clock::now();
    const int error = ::posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    if (error == 0)
        ::waitpid(child, &status, 0);
    const Milliseconds elapsed = std::chrono::steady_clock::now() - begin;
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0 || status != 0)
        throw std::runtime_error(command[0] + " did not end well");
    return elapsed;
}

void run(const Settings& settings) {
    const auto place = claimOneCpu({});
    const Daemon daemon(settings.hshd);
    {
        ClientHost host;
        host.connect(daemon.socketDirectory());
        const auto client = host.makeClient();
        client->impersonate(login::AccessToken("bench-token"), sampleInfo());
        login::detail::LoginData data; // the session starts with whom the daemon remembers
        data.info = sampleInfo();
        data.rememberMe = true;
        client->persistIdentity(data);
    }
    const std::vector<std::string> token{settings.program, "--socket-dir", daemon.socketDirectory().string(),
                                         "token"};
    std::vector<double> tokens, idles, ratios;
    for (int round = -3; round < settings.rounds; ++round) {
        const auto idle = timeOf({settings.idle}).count();
        const auto one = timeOf(token).count();
        if (round < 0)
            continue; // warms up
        idles.push_back(idle);
        tokens.push_back(one);
        ratios.push_back(one / idle);
    }
    report::ratio("`zelkorlogin token`, whole process / a process that does nothing",
                  fixed(median(ratios), 1));
    report::absolute("`zelkorlogin token`, whole process", fixed(median(tokens), 2) + " ms", "<= 4 ms");
    report::absolute("a process that does nothing", fixed(median(idles), 2) + " ms");
    report::note("Token command: medians of " + std::to_string(settings.rounds) + " runs on CPU " +
                 std::to_string(place.cpu) +
                 (place.undisturbed ? " with real-time priority." : " with ordinary priority."));
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    zelkor::bench::Settings settings;
    CLI::App app("Measures the token command as a whole process.");
    app.add_option("--hshd", settings.hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--zelkorlogin", settings.program, "The program measured")
        ->required()
        ->check(CLI::ExistingFile);
    app.add_option("--idle", settings.idle, "The reference, which exits with 0 at once")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    app.add_option("--rounds", settings.rounds)->check(CLI::PositiveNumber)->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(settings);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "token_command: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
