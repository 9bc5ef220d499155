// What a daemon's restart costs: the registrations of one client made again, against as many raw round trips
// of the same bytes, and many processes coming back at once. Everything shares one processor.

#include "bench/support/ClientHost.h"
#include "bench/support/Daemon.h"
#include "bench/support/HostProcess.h"
#include "bench/support/Memory.h"
#include "bench/support/Process.h"
#include "bench/support/RawPair.h"
#include "bench/support/Registrations.h"
#include "bench/support/Report.h"
#include "contract/calls/Invokable.h"
#include "contract/vocabulary/LoginV2.h"
#include "transport/wire/Frame.h"
#include "transport/wire/PayloadCodec.h"

#include <cppmicroservices/ServiceEvent.h>

#include <CLI/CLI.hpp>
#include <boost/uuid/uuid.hpp>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <vector>

namespace zelkor::bench {

namespace core = agent::spf::core;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

struct Settings {
    std::string hshd;
    int registrations = 1000;
    int rounds = 21;
    int processes = 200;
    int registrationsEach = 10;
};

/// As the transport frames the registration of a status listener and its reply.
CallBytes bytesOfRegistration() {
    namespace wire = agent::spf::transport::wire;
    wire::FrameBuilder request;
    auto call = request.message().initCall();
    call.setMethod(1); // the texts have travelled
    wire::encodePayload(
        core::GenericPayload::of(core::ExportedCallback(
            {}, core::SignatureDescriptor::of<void(const login::LoginInfo&, const login::LoginInfo&)>().named(
                    ""))),
        call.initPayload(1));
    wire::FrameBuilder reply;
    wire::fillReply(reply.message().initReply(), 1, core::GenericPayload::of(boost::uuids::uuid{}));
    return {request.bytes(), reply.bytes()};
}

/// One client against a daemon that is restarted: from the moment at which the transport announces the new
/// daemon's service until the client has made all registrations, has asked who is logged in, and tells its
/// listeners.
class ReplayedClient {
public:
    ReplayedClient(Daemon& daemon, int registrations) : daemon_(daemon) {
        host_.context().AddServiceListener(
            [this](const cppmicroservices::ServiceEvent& event) {
                if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED)
                    announced_ = Clock::now();
            },
            "(&(spf.service.name=ZelkorLogin)(spf.service.version=2))");
        host_.connect(daemon.socketDirectory());
        if (client_->getRelease().empty())
            throw std::runtime_error("the daemon did not answer");
        registerWith(*client_, registrations, [this] {
            told_ = Clock::now();
            again_.release();
        });
    }

    Milliseconds restart() {
        daemon_.restart();
        if (!again_.try_acquire_for(std::chrono::minutes(1)))
            throw std::runtime_error("the registrations were not made again");
        return told_.load() - announced_.load();
    }

private:
    Daemon& daemon_;
    std::atomic<Clock::time_point> announced_{};
    std::atomic<Clock::time_point> told_{};
    std::counting_semaphore<> again_{0};
    ClientHost host_;
    const std::shared_ptr<login::spf::ZelkorLogin> client_ = host_.makeClient();
};

Milliseconds timeOf(RawPair& raw, int roundTrips) {
    const auto begin = Clock::now();
    for (int i = 0; i < roundTrips; ++i)
        raw.roundTrip();
    return Clock::now() - begin;
}

void measureReplay(const Settings& settings, RawPair& raw) {
    Daemon daemon(settings.hshd);
    ReplayedClient client(daemon, settings.registrations);
    std::vector<double> ratios;
    std::vector<double> times;
    for (int round = -1; round < settings.rounds; ++round) {
        const auto reference = timeOf(raw, settings.registrations);
        const Milliseconds replay = client.restart();
        if (round < 0)
            continue; // warms up
        ratios.push_back(replay / reference);
        times.push_back(replay.count());
    }
    const auto what = std::to_string(settings.registrations) + " registrations after a restart";
    report::ratio(what + ": all made again / as many raw round trips", fixed(median(ratios), 2), "<= 0.6");
    report::absolute(what, fixed(median(times), 1) + " ms");
}

void measureReturn(const Settings& settings, RawPair& raw, const std::filesystem::path& program) {
    Daemon daemon(settings.hshd);
    const Signal signal;
    std::vector<std::unique_ptr<Child>> hosts;
    for (int i = 0; i < settings.processes; ++i) {
        hosts.push_back(startHost(program, daemon.socketDirectory(), signal, settings.registrationsEach));
        signal.await();
    }
    const int total = settings.processes * settings.registrationsEach;
    std::vector<double> references;
    for (int round = 0; round < settings.rounds; ++round)
        references.push_back(timeOf(raw, total).count());
    daemon.restart();
    const auto begin = Clock::now();
    signal.await(settings.processes);
    const Milliseconds elapsed = Clock::now() - begin;
    const Milliseconds processor =
        ProcessorTime({daemon.pid()}).used() - ProcessorTime(std::vector<pid_t>{}).used();

    const auto what = std::to_string(settings.processes) + " processes with " +
                      std::to_string(settings.registrationsEach) + " registrations each";
    report::ratio(what + ": all made again after a restart / as many raw round trips",
                  fixed(elapsed.count() / median(references), 1));
    report::absolute(what + ": all made again after the daemon is ready", fixed(elapsed.count(), 0) + " ms");
    report::absolute(what + ": processor time of the daemon, its start included",
                     fixed(processor.count(), 0) + " ms");
    report::absolute(what + ": peak memory of the daemon",
                     fixed(static_cast<double>(Memory::peakOf(daemon.pid())) / 1024, 1) + " MB RSS");
}

void run(const Settings& settings, const std::filesystem::path& host) {
    const auto place = claimOneCpu({});
    const auto bytes = bytesOfRegistration();
    RawPair raw(bytes); // before there are threads
    measureReturn(settings, raw, host);
    measureReplay(settings, raw);
    report::note("Restarts: request " + std::to_string(bytes.request) + " bytes, reply " +
                 std::to_string(bytes.reply) + " bytes; all processes on CPU " + std::to_string(place.cpu) +
                 (place.undisturbed ? " with real-time priority" : " with ordinary priority") +
                 "; medians of " + std::to_string(settings.rounds) +
                 " restarts for the one client, one restart for the many.");
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    zelkor::bench::Settings settings;
    CLI::App app("Measures what a restart of the daemon costs its clients.");
    app.add_option("--hshd", settings.hshd, "The daemon's program")->required()->check(CLI::ExistingFile);
    app.add_option("--registrations", settings.registrations, "Of the one client")
        ->check(CLI::Range(2, 9'000))
        ->capture_default_str();
    app.add_option("--rounds", settings.rounds)->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--processes", settings.processes)->check(CLI::Range(1, 1000))->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(settings,
                           std::filesystem::read_symlink("/proc/self/exe").parent_path() / "idle_host");
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "replay: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
