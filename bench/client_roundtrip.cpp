// What a remote call costs: getLoginInfo of the client through the module, the transport and a real daemon
// process and back, against a raw blocking ping-pong of the same bytes between two processes. Everything
// shares one processor, and the subjects take turns, so that the ratios hold while the machine's speed
// changes.

#include "bench/support/Allocations.h"
#include "bench/support/ClientHost.h"
#include "bench/support/Daemon.h"
#include "bench/support/Process.h"
#include "bench/support/RawPair.h"
#include "bench/support/Report.h"
#include "contract/vocabulary/LoginV2.h"
#include "transport/wire/Frame.h"
#include "transport/wire/PayloadCodec.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace zelkor::bench {

namespace core = agent::spf::core;
using Clock = std::chrono::steady_clock;
using login::LoginInfo;

struct Settings {
    std::string hshd;
    std::optional<int> cpu;
    int rounds = 61;
    int calls = 3200;
};

constexpr int manyCallers = 32;
const std::string requester = "bench";

/// As the transport frames the measured call and its reply.
CallBytes bytesOfCall() {
    namespace wire = agent::spf::transport::wire;
    wire::FrameBuilder request;
    auto call = request.message().initCall();
    call.setMethod(1); // the texts have travelled
    wire::encodePayload(core::GenericPayload::of(requester, 2), call.initPayload(2));
    wire::FrameBuilder reply;
    wire::fillReply(reply.message().initReply(), 1, core::GenericPayload::of(sampleInfo()));
    return {request.bytes(), reply.bytes()};
}

/// Microseconds per call.
struct Cost {
    double elapsed;
    double processor; ///< of all processes together
};

/// What a call costs when `callers` threads share `calls` calls.
Cost costOf(int callers, int calls, const std::function<void()>& call, const ProcessorTime& processor) {
    const auto loop = [&] {
        for (int i = 0; i < calls / callers; ++i)
            call();
    };
    const auto begin = Clock::now();
    const auto used = processor.used();
    if (callers == 1) {
        loop();
    } else {
        std::vector<std::jthread> threads;
        for (int i = 0; i < callers; ++i)
            threads.emplace_back(loop);
    }
    using Microseconds = std::chrono::duration<double, std::micro>;
    const int made = calls / callers * callers;
    return {Microseconds(Clock::now() - begin).count() / made,
            Microseconds(processor.used() - used).count() / made};
}

/// One subject's costs, round by round.
struct Series {
    int callers;
    std::function<void()> call;
    std::vector<Cost> rounds{};

    double typical(double Cost::*cost) const {
        std::vector<double> values;
        for (const auto& round : rounds)
            values.push_back(round.*cost);
        return median(values);
    }
    double ratioTo(const Series& reference, double Cost::*cost) const {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < rounds.size(); ++i)
            ratios.push_back(rounds[i].*cost / reference.rounds[i].*cost);
        return median(ratios);
    }
};

double allocationsPerCall(const std::function<void()>& call) {
    constexpr int calls = 2000;
    const auto before = allocationsOfThisThread();
    for (int i = 0; i < calls; ++i)
        call();
    return static_cast<double>(allocationsOfThisThread() - before) / calls;
}

struct Subjects {
    Series raw, client, transport, clients, token;
    std::vector<Series*> all() { return {&raw, &client, &transport, &clients, &token}; }
};

void printResults(const Subjects& subjects) {
    const auto& [raw, client, transport, clients, token] = subjects;
    constexpr auto elapsed = &Cost::elapsed;
    constexpr auto processor = &Cost::processor;
    const auto value = [](const Series& series, const Series& reference, bool inverse) {
        const auto ratio = [&](double Cost::*cost) {
            const double times = series.ratioTo(reference, cost);
            return fixed(inverse ? 1 / times : times, 2);
        };
        return ratio(elapsed) + " (by processor time " + ratio(processor) + ")";
    };
    report::ratio("`getLoginInfo`, one caller: round trip / raw ping-pong", value(client, raw, false),
                  "<= 1.5");
    report::ratio("`getLoginInfo`, 32 callers: throughput / raw single-pair throughput",
                  value(clients, raw, true), ">= 1");
    report::ratio("the same call on the transport's `Invokable`, one caller: round trip / raw ping-pong",
                  value(transport, raw, false));
    report::ratio("`requestAccessToken`, one caller / `getLoginInfo`, one caller",
                  value(token, client, false), "<= 1");
    report::ratio("`getLoginInfo`, one caller: allocations by the calling thread, transport included",
                  fixed(allocationsPerCall(client.call), 1), "<= 5");
    report::absolute("raw ping-pong", fixed(raw.typical(elapsed), 2) + " us");
    report::absolute("`getLoginInfo`, one caller", fixed(client.typical(elapsed), 2) + " us");
    report::absolute("`getLoginInfo`, 32 callers", fixed(1e6 / clients.typical(elapsed), 0) + " calls/s");
    const double share = raw.typical(processor) / raw.typical(elapsed);
    if (share < 0.9)
        report::note("Round trips: **the benchmark had only " + fixed(100 * share, 0) +
                     " % of its processor, the ratios look better than they are.** Run it as root or on a "
                     "quiet machine.");
}

void run(const Settings& settings) {
    const auto place = claimOneCpu(settings.cpu); // first: all processes and threads inherit it
    const auto bytes = bytesOfCall();
    RawPair pair(bytes); // before there are threads
    const Daemon daemon(settings.hshd);
    ClientHost host;
    host.connect(daemon.socketDirectory());
    const auto client = host.makeClient();
    client->impersonate(login::AccessToken("bench-token"), sampleInfo());
    const auto invokable = host.invokable();
    const auto ask = [&] {
        if (client->getLoginInfo(requester, LoginInfo::Level::SignedIn).userId.empty())
            throw std::runtime_error("a call failed"); // failures are fast, and must not count
    };
    const auto askTransport = [&] {
        invokable->call<LoginInfo>(std::chrono::seconds(10), "getLoginInfo", requester, 2);
    };
    const auto askToken = [&] {
        if (!client->requestAccessToken(requester, LoginInfo::Level::SignedIn))
            throw std::runtime_error("a call failed");
    };
    Subjects subjects{
        {1, [&] { pair.roundTrip(); }}, {1, ask}, {1, askTransport}, {manyCallers, ask}, {1, askToken}};
    const ProcessorTime processor({pair.otherProcess(), daemon.pid()});
    for (int round = -1; round < settings.rounds; ++round) {
        for (auto* series : subjects.all()) {
            const auto cost = costOf(series->callers, settings.calls, series->call, processor);
            if (round >= 0) // the one before warms up
                series->rounds.push_back(cost);
        }
    }
    printResults(subjects);
    report::note("Round trips: request " + std::to_string(bytes.request) + " bytes, reply " +
                 std::to_string(bytes.reply) + " bytes; all processes on CPU " + std::to_string(place.cpu) +
                 (place.undisturbed ? " with real-time priority" : " with ordinary priority") +
                 "; medians of " + std::to_string(settings.rounds) + " rounds of " +
                 std::to_string(settings.calls) + " calls of each subject in turn.");
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    zelkor::bench::Settings settings;
    CLI::App app("Measures remote calls against a raw socket ping-pong.");
    app.add_option("--hshd", settings.hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--cpu", settings.cpu, "The processor to run everything on");
    app.add_option("--rounds", settings.rounds)->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--calls", settings.calls, "Calls of each subject in a round")
        ->check(CLI::Range(32, 10'000'000))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(settings);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "client_roundtrip: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
