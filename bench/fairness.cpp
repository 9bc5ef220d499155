// What a busy client costs another one: getLoginInfo's latency while a raw client writes calls without
// waiting for answers, 50 to a write, or while a process calls from 32 threads, against the same client's
// latency without them. They take turns; all clients run beside the daemon's processor.

#include "bench/support/ClientHost.h"
#include "bench/support/Daemon.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"
#include "contract/vocabulary/LoginV2.h"
#include "transport/wire/Frame.h"
#include "transport/wire/PayloadCodec.h"
#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace zelkor::bench {

namespace core = agent::spf::core;
namespace wire = agent::spf::transport::wire;
using Clock = std::chrono::steady_clock;
using login::LoginInfo;

struct Settings {
    std::string hshd;
    int rounds = 21;
    int calls = 1000;
};

constexpr unsigned callsPerWrite = 50;
constexpr int busyCallers = 32;

std::vector<std::byte> callsOfOneWrite() {
    const std::string method(login::spf::remote::getLoginInfo.name);
    const auto descriptor = core::SignatureDescriptor::of<LoginInfo(std::string, int)>().named(method);
    std::vector<std::byte> bytes;
    for (unsigned id = 1; id <= callsPerWrite; ++id) {
        wire::FrameBuilder frame;
        auto call = frame.message().initCall();
        call.setId(id);
        call.setRemainingMs(60'000);
        wire::fillMethod(call.initTexts(), method, descriptor);
        wire::encodePayload(core::GenericPayload::of(std::string("flood"), 2), call.initPayload(2));
        frame.appendTo(bytes);
    }
    return bytes;
}

void leaveProcessor(int cpu) {
    cpu_set_t others;
    CPU_ZERO(&others);
    for (long i = 0; i < ::sysconf(_SC_NPROCESSORS_CONF); ++i)
        if (i != cpu)
            CPU_SET(i, &others);
    check(::sched_setaffinity(0, sizeof others, &others) == 0,
          "leaving the daemon's processor (this benchmark needs two)");
}

/// Ends when the daemon closes the connection.
void flood(const std::filesystem::path& directory) {
    const auto address = wire::socketAddress(directory / wire::socketName);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    check(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "connect");
    std::vector<std::byte> out;
    {
        wire::FrameBuilder frame;
        auto hello = frame.message().initHello();
        hello.setProtocolVersion(wire::protocolVersion);
        hello.setFrameBytes(1U << 20U);
        hello.setClientId("flood");
        frame.appendTo(out);
    }
    ::fcntl(socket, F_SETFL, O_NONBLOCK);
    const auto calls = callsOfOneWrite();
    std::vector<std::byte> in(1U << 16U);
    for (std::size_t sent = 0;;) {
        pollfd fd{socket, POLLIN | POLLOUT, 0};
        ::poll(&fd, 1, -1);
        if ((fd.revents & POLLIN) != 0 && ::recv(socket, in.data(), in.size(), 0) == 0)
            return;
        if ((fd.revents & POLLOUT) == 0)
            continue;
        const auto count = ::send(socket, out.data() + sent, out.size() - sent, MSG_NOSIGNAL);
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (sent == out.size()) {
            out = calls;
            sent = 0;
        }
    }
}

void callFromManyThreads(const std::filesystem::path& directory) {
    ClientHost host;
    host.connect(directory);
    const auto client = host.makeClient();
    std::vector<std::jthread> threads;
    for (int i = 0; i < busyCallers; ++i)
        threads.emplace_back([&] {
            while (!client->getLoginInfo("busy", LoginInfo::Level::SignedIn).userId.empty()) {
            }
        });
}

/// In microseconds, the middle of so many calls.
double latency(login::spf::ZelkorLogin& client, int calls) {
    std::vector<double> times;
    for (int i = -calls / 5; i < calls; ++i) { // the first ones let what was under way settle
        const auto begin = Clock::now();
        if (client.getLoginInfo("bench", LoginInfo::Level::SignedIn).userId.empty())
            throw std::runtime_error("a call failed");
        if (i >= 0)
            times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    return median(times);
}

/// A client that disturbs; stopped at first.
struct Disturbance {
    std::string what;
    std::unique_ptr<Child> process;
};

Disturbance disturbance(const std::string& what, int daemonsCpu, const std::filesystem::path& directory,
                        void (*work)(const std::filesystem::path&)) {
    auto process = std::make_unique<Child>([=] {
        leaveProcessor(daemonsCpu);
        const sched_param ordinary{};
        ::sched_setscheduler(0, SCHED_OTHER, &ordinary); // the caller preempts it
        ::raise(SIGSTOP);
        work(directory);
    });
    int status = 0;
    check(::waitpid(process->pid(), &status, WUNTRACED) == process->pid(), "waitpid");
    return {what, std::move(process)};
}

void measure(const Settings& settings, login::spf::ZelkorLogin& client, const Disturbance& other) {
    std::vector<double> quiet, disturbed, ratios;
    for (int round = 0; round < settings.rounds; ++round) {
        quiet.push_back(latency(client, settings.calls));
        check(::kill(other.process->pid(), SIGCONT) == 0, "SIGCONT");
        disturbed.push_back(latency(client, settings.calls));
        check(::kill(other.process->pid(), SIGSTOP) == 0, "SIGSTOP");
        ratios.push_back(disturbed.back() / quiet.back());
    }
    int status = 0;
    if (::waitpid(other.process->pid(), &status, WNOHANG) != 0)
        throw std::runtime_error("the disturbing client ended");
    const std::string subject = "`getLoginInfo`, one caller: latency ";
    report::ratio(subject + "while another client " + other.what + " / without it", fixed(median(ratios), 2),
                  "<= 3");
    report::absolute(subject + "without another client", fixed(median(quiet), 1) + " us");
    report::absolute(subject + "while another client " + other.what, fixed(median(disturbed), 1) + " us");
}

void run(const Settings& settings) {
    const auto place = claimOneCpu({});
    const Daemon daemon(settings.hshd);
    const auto directory = daemon.socketDirectory();
    const Disturbance disturbances[] = {// before there are threads
                                        disturbance("floods", place.cpu, directory, flood),
                                        disturbance("calls from " + std::to_string(busyCallers) + " threads",
                                                    place.cpu, directory, callFromManyThreads)};
    leaveProcessor(place.cpu); // there the daemon would not let the caller ask before it has served all
    ClientHost host;
    host.connect(directory);
    const auto client = host.makeClient();
    client->impersonate(login::AccessToken("bench-token"), sampleInfo());
    for (const auto& other : disturbances)
        measure(settings, *client, other);
    report::note("Fairness: the daemon on CPU " + std::to_string(place.cpu) +
                 ", all clients on another; medians of " + std::to_string(settings.rounds) + " rounds of " +
                 std::to_string(settings.calls) + " calls.");
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    zelkor::bench::Settings settings;
    CLI::App app("Measures what a busy client costs another one.");
    app.add_option("--hshd", settings.hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--rounds", settings.rounds)->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--calls", settings.calls)->check(CLI::Range(10, 1'000'000))->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(settings);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "fairness: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
