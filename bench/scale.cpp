// How the daemon's costs grow with the number of client processes: memory for each, the time to tell all of a
// change, and the time and processor time until all are back after a restart. Each number of clients is
// measured by a process of its own, as a process with threads does not start others well.

#include "bench/support/Chart.h"
#include "bench/support/ClientHost.h"
#include "bench/support/Daemon.h"
#include "bench/support/HostProcess.h"
#include "bench/support/Memory.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"
#include "bench/support/Signal.h"

#include <CLI/CLI.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <semaphore>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace zelkor::bench {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int registrationsEach = 10;
constexpr int changes = 11;

/// What is measured of one number of clients.
enum Figure : std::size_t { memory, tell, tellWithOneStopped, back, processor, wakeUps, figures };
using Figures = std::array<double, figures>;

/// How often the threads of a process have gone to sleep so far.
long sleepsOf(pid_t process) {
    long sleeps = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word;)
            if (long count = 0; word == "voluntary_ctxt_switches:" && status >> count)
                sleeps += count;
    }
    return sleeps;
}

/// Changes who is logged in, from this process, and waits until so many others have said that they know.
double timeToTell(login::spf::ZelkorLogin& client, const Signal& signal, int clients) {
    auto info = sampleInfo();
    std::vector<double> times;
    for (int i = 0; i < changes; ++i) {
        info.displayName = u"Ada " + std::u16string(static_cast<std::size_t>(i + 1), u'I');
        const auto begin = Clock::now();
        client.impersonate(login::AccessToken("token-" + std::to_string(i)), info);
        signal.await(clients);
        times.push_back(Milliseconds(Clock::now() - begin).count());
    }
    return median(times);
}

Figures measure(const std::string& hshd, const std::filesystem::path& program, int clients) {
    Figures figures{};
    Daemon daemon(hshd);
    const auto alone = Memory::of(daemon.pid()).own;
    const Signal signal;
    std::vector<std::unique_ptr<Child>> hosts;
    for (int i = 0; i < clients; ++i) {
        hosts.push_back(startHost(program, daemon.socketDirectory(), signal, registrationsEach));
        signal.await();
    }
    figures[memory] = static_cast<double>(Memory::of(daemon.pid()).own - alone) / clients;

    // What the last ones' start has left to do is no idling; whatever comes again and again is.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const auto sleeps = sleepsOf(daemon.pid());
    std::this_thread::sleep_for(std::chrono::seconds(2));
    figures[wakeUps] = static_cast<double>(sleepsOf(daemon.pid()) - sleeps);

    {
        ClientHost host;
        host.connect(daemon.socketDirectory());
        const auto client = host.makeClient();
        figures[tell] = timeToTell(*client, signal, clients);
        const pid_t stopped = hosts.front()->pid();
        ::kill(stopped, SIGSTOP);
        figures[tellWithOneStopped] = timeToTell(*client, signal, clients - 1);
        ::kill(stopped, SIGCONT);
        signal.await(); // the newest state, once
    }

    const auto begin = Clock::now();
    daemon.restart();
    signal.await(clients);
    figures[back] = Milliseconds(Clock::now() - begin).count();
    figures[processor] =
        Milliseconds(ProcessorTime({daemon.pid()}).used() - ProcessorTime(std::vector<pid_t>{}).used())
            .count();
    return figures;
}

/// One process with so many status listeners.
double timeToTellListeners(const std::string& hshd, int listeners) {
    const Daemon daemon(hshd);
    ClientHost host;
    host.connect(daemon.socketDirectory());
    const auto client = host.makeClient();
    std::counting_semaphore<> told(0);
    for (int i = 0; i < listeners; ++i)
        client->addStatusListenerV2([&](const auto&, const auto&) { told.release(); });
    auto info = sampleInfo();
    std::vector<double> times;
    for (int i = 0; i < changes; ++i) {
        info.displayName += u'I';
        const auto begin = Clock::now();
        client->impersonate(login::AccessToken("token-" + std::to_string(i)), info);
        for (int k = 0; k < listeners; ++k)
            if (!told.try_acquire_for(std::chrono::minutes(1)))
                throw std::runtime_error("a listener was not told");
        times.push_back(Milliseconds(Clock::now() - begin).count());
    }
    return median(times);
}

/// What a run of this program with these arguments prints.
std::string outputOf(const std::string& arguments) {
    const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
        ::popen(("exec '" + self + "' " + arguments).c_str(), "r"), ::pclose);
    check(pipe != nullptr, "popen");
    std::string output;
    std::array<char, 256> part{};
    while (std::fgets(part.data(), part.size(), pipe.get()))
        output += part.data();
    return output;
}

void run(const std::string& hshd, const std::vector<int>& clients, const std::string& svg) {
    std::vector<Figures> measured;
    for (const int count : clients) {
        std::cerr << "==> " << count << " client processes\n";
        std::istringstream line(outputOf("--hshd '" + hshd + "' --only " + std::to_string(count)));
        Figures figures{};
        for (double& figure : figures)
            if (!(line >> figure))
                throw std::runtime_error("the measurement of " + std::to_string(count) + " clients failed");
        measured.push_back(figures);
    }
    const struct {
        Figure figure;
        const char* title;
        const char* unit;
        int digits;
    } rows[] = {{memory, "daemon's private memory for each client process", "kB", 1},
                {tell, "all told of a change", "ms", 1},
                {tellWithOneStopped, "all told of a change, one of them stopped (SIGSTOP)", "ms", 1},
                {back, "all back after a kill of the daemon, its start included", "ms", 0},
                {processor, "the daemon's processor time for that", "ms", 0},
                {wakeUps, "the daemon's wake-ups in two idle seconds", "", 0}};
    std::vector<Panel> panels;
    for (const auto& row : rows) {
        Panel panel{row.title, row.unit, {}};
        std::string counts, values;
        for (std::size_t i = 0; i < clients.size(); ++i) {
            panel.points.emplace_back(clients[i], measured[i][row.figure]);
            counts += (i == 0 ? "" : ", ") + std::to_string(clients[i]);
            values += (i == 0 ? "" : ", ") + fixed(measured[i][row.figure], row.digits);
        }
        report::absolute(counts + " client processes: " + row.title,
                         values + (*row.unit ? " " : "") + row.unit);
        if (row.figure != wakeUps && row.figure != tellWithOneStopped)
            panels.push_back(std::move(panel));
    }
    report::absolute("1000 listeners of one process: all told of a change",
                     fixed(std::stod(outputOf("--hshd '" + hshd + "' --listeners 1000")), 1) + " ms");
    report::note("Scale: each client process is a whole host with " + std::to_string(registrationsEach) +
                 " registrations; medians of " + std::to_string(changes) +
                 " changes; one restart for each number of clients; on all processors (" +
                 std::to_string(std::thread::hardware_concurrency()) + ").");
    if (!svg.empty() && !(std::ofstream(svg) << drawPanels(panels, "client processes")))
        throw std::runtime_error("cannot write " + svg);
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    std::string hshd, svg;
    int only = 0, listeners = 0;
    std::vector<int> clients{10, 100, 300, 1000};
    CLI::App app("Measures how the daemon's costs grow with the number of its client processes.");
    app.add_option("--hshd", hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--clients", clients, "The numbers of client processes, at least two, growing")
        ->check(CLI::Range(2, 1000))
        ->expected(2, 8)
        ->capture_default_str();
    app.add_option("--svg", svg, "Write the curves to this file");
    app.add_option("--only", only, "Measure this number of clients and print the bare figures");
    app.add_option("--listeners", listeners, "Measure one process with so many, and print the bare figure");
    CLI11_PARSE(app, argc, argv);
    using namespace zelkor::bench;
    try {
        if (only > 0) {
            for (const double figure : measure(
                     hshd, std::filesystem::read_symlink("/proc/self/exe").parent_path() / "idle_host", only))
                std::cout << figure << '\n';
        } else if (listeners > 0) {
            std::cout << timeToTellListeners(hshd, listeners) << '\n';
        } else {
            run(hshd, clients, svg);
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "scale: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
