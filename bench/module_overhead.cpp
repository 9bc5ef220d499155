// What the module itself adds to a call: getLoginInfo of the client over an Invokable that answers at once,
// in the same process, against a bare virtual call of that Invokable. Answers are made ahead of time, outside
// what is measured.

#include "bench/support/Allocations.h"
#include "bench/support/ClientHost.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"
#include "contract/calls/ServiceProperties.h"

#include <cppmicroservices/ServiceProperties.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelkor::bench {

namespace core = agent::spf::core;
using Clock = std::chrono::steady_clock;
using login::LoginInfo;

/// A daemon of which nothing is left but the answer. For one thread.
class InstantDaemon final : public core::Invokable {
public:
    /// So many answers fit into the processor's nearer caches.
    static constexpr int batch = 64;

    void prepare() {
        while (answers_.size() < batch)
            answers_.push_back(core::GenericPayload::of(sampleInfo()));
    }

    CallId invokeGeneric(std::optional<std::chrono::milliseconds> /*timeout*/, std::string /*method*/,
                         core::SignatureDescriptor /*signature*/, core::GenericPayload /*arguments*/,
                         core::CompletionHandler handler) override {
        if (answers_.empty())
            prepare(); // the client's own calls before the measurement
        auto answer = std::move(answers_.back());
        answers_.pop_back();
        handler.onValue(std::move(answer));
        return 0;
    }
    void callAndWait(std::optional<std::chrono::milliseconds> /*timeout*/, std::string_view /*method*/,
                     core::SignatureDescriptor /*signature*/,
                     std::span<const core::ArgumentRef> /*arguments*/, core::ResultRef result) override {
        if (answers_.empty())
            prepare();
        result.takeFrom(answers_.back());
        answers_.pop_back();
    }
    std::shared_ptr<core::CallbackTable> callbacks() override { return callbacks_; }

private:
    std::vector<core::GenericPayload> answers_;
    const std::shared_ptr<core::CallbackTable> callbacks_ = std::make_shared<core::CallbackTable>();
};

struct Cost {
    double nanoseconds = 0;
    double allocations = 0;
};

/// Per call, over so many batches.
Cost measure(InstantDaemon& daemon, int batches, const std::function<void()>& call) {
    Clock::duration time{};
    std::uint64_t allocations = 0;
    for (int i = 0; i < batches; ++i) {
        daemon.prepare();
        const auto before = allocationsOfThisThread();
        const auto start = Clock::now();
        for (int k = 0; k < InstantDaemon::batch; ++k)
            call();
        time += Clock::now() - start;
        allocations += allocationsOfThisThread() - before;
    }
    const double calls = static_cast<double>(batches) * InstantDaemon::batch;
    return {std::chrono::duration<double, std::nano>(time).count() / calls,
            static_cast<double>(allocations) / calls};
}

void compare(InstantDaemon& daemon, const std::function<void()>& module, const std::function<void()>& bare) {
    constexpr int rounds = 101;
    constexpr int batches = 100;
    std::vector<double> added, ratios, moduleTimes, bareTimes;
    double moduleAllocations = 0, bareAllocations = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto with = measure(daemon, batches, module);
        const auto without = measure(daemon, batches, bare);
        moduleTimes.push_back(with.nanoseconds);
        bareTimes.push_back(without.nanoseconds);
        added.push_back(with.nanoseconds - without.nanoseconds);
        ratios.push_back(with.nanoseconds / without.nanoseconds);
        moduleAllocations = with.allocations;
        bareAllocations = without.allocations;
    }
    report::ratio("module alone: allocations per call", fixed(moduleAllocations - bareAllocations, 1),
                  "<= 5");
    report::ratio("module alone: time of a call / bare virtual call of an Invokable that answers at once",
                  fixed(median(ratios), 1));
    report::absolute("module alone: time added per call", fixed(median(added), 0) + " ns", "<= 400 ns");
    report::absolute("module alone: bare virtual call", fixed(median(bareTimes), 0) + " ns");
    report::note("Module alone: " + fixed(median(moduleTimes), 0) + " ns per call with it, medians of " +
                 std::to_string(rounds) + " rounds of " + std::to_string(batches * InstantDaemon::batch) +
                 " calls each way in turn; the bare call made " + fixed(bareAllocations, 1) +
                 " allocations.");
}

void run(const std::string& only, int calls) {
    claimOneCpu(std::nullopt);
    ClientHost host;
    const auto daemon = std::make_shared<InstantDaemon>();
    auto registration = host.context().RegisterService<core::Invokable>(
        daemon, {{core::properties::serviceName, std::string("ZelkorLogin")},
                 {core::properties::serviceVersion, 2},
                 {core::properties::serviceRevision, 1},
                 {core::properties::clientId, std::string("bench")}});
    const auto client = host.makeClient();
    const std::string requester = "bench";
    LoginInfo sink;
    const auto module = [&] { sink = client->getLoginInfo(requester, LoginInfo::Level::SignedIn); };
    const auto bare = [&invokable = static_cast<core::Invokable&>(*daemon), &sink] {
        invokable.callAndWait(std::chrono::seconds(10), "getLoginInfo",
                              core::SignatureDescriptor::of<LoginInfo(std::string, int)>(), {},
                              core::ResultRef(sink));
    };
    module(); // waits until the client has found it
    if (sink.userId.empty())
        throw std::runtime_error("the client's call failed");
    if (only.empty())
        compare(*daemon, module, bare);
    else
        measure(*daemon, calls / InstantDaemon::batch,
                only == "module" ? std::function<void()>(module) : bare);
    registration.Unregister();
}

} // namespace zelkor::bench

int main(int argc, char** argv) {
    std::string only;
    int calls = 64;
    CLI::App app("Measures what the module adds to a call. With --only it makes calls and reports nothing, "
                 "for a profiler.");
    app.add_option("--only", only, "'module' or 'bare'")->check(CLI::IsMember({"module", "bare"}));
    app.add_option("--calls", calls, "How many with --only; a multiple of 64")->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    try {
        zelkor::bench::run(only, calls);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "module_overhead: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
