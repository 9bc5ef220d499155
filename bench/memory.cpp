// What the module and the daemon hold in memory while nothing happens: a host process with a connected
// client, and the daemon with one and with many connected processes.

#include "bench/support/Memory.h"

#include "bench/support/Daemon.h"
#include "bench/support/HostProcess.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"
#include "bench/support/Signal.h"
#include "transport/client/Dial.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace zelkor::bench {

[[noreturn]] void idle() {
    for (;;)
        ::pause();
}

/// A process that is to the daemon what an application's is, and is light itself: it has said hello and was
/// welcomed.
std::unique_ptr<Child> connectionTo(const Daemon& daemon, int number) {
    const Signal ready;
    auto child = std::make_unique<Child>([&] {
        const auto dialled =
            agent::spf::transport::dial(daemon.socketDirectory(), "bench-" + std::to_string(number),
                                        agent::spf::transport::Limits(), /*cancel=*/-1, [](pid_t) {});
        ready.give();
        idle();
    });
    ready.await();
    return child;
}

std::string text(const Memory& memory) {
    const auto megabytes = [](long kilobytes) {
        return fixed(static_cast<double>(kilobytes) / 1024, 1) + " MB";
    };
    return megabytes(memory.resident) + " RSS, " + megabytes(memory.proportional) + " PSS";
}

void run(const std::filesystem::path& host, const std::string& hshd, int connections) {
    std::vector<std::unique_ptr<Child>> clients;
    const Daemon daemon(hshd);
    const auto alone = Memory::of(daemon.pid());
    clients.push_back(startHost(host, daemon.socketDirectory()));
    const auto application = Memory::of(clients.front()->pid());
    const auto withOne = Memory::of(daemon.pid());
    while (static_cast<int>(clients.size()) < connections)
        clients.push_back(connectionTo(daemon, static_cast<int>(clients.size())));
    const auto withMany = Memory::of(daemon.pid());

    report::absolute("idle host process with one connected client", text(application));
    report::absolute("daemon, no client", text(alone));
    report::absolute("daemon, 1 client process", text(withOne));
    report::absolute("daemon, " + std::to_string(connections) + " client processes", text(withMany));
    report::absolute("daemon, each further client process",
                     fixed(static_cast<double>(withMany.own - withOne.own) / (connections - 1), 1) +
                         " kB private");
    report::note("Memory: the first client process is a whole host with framework, connector and client; the "
                 "others are "
                 "processes that hold a greeted connection and nothing else.");
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    std::string hshd;
    int connections = 200;
    CLI::App app("Measures the memory of an idle client process and of the daemon.");
    app.add_option("--hshd", hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--connections", connections, "Client processes of the daemon")
        ->check(CLI::Range(2, 1000))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "idle_host", hshd,
                           connections);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "memory: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
