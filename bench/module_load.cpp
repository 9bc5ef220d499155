// What a process pays once for the module: from an empty framework to the first answer, each round in a
// process of its own, against the time that the loader alone takes for the library.

#include "bench/support/Daemon.h"
#include "bench/support/Process.h"
#include "bench/support/Report.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <login/detail/ZelkorLogin.h>

#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace zelkor::bench {

namespace {

using namespace cppmicroservices;

constexpr std::array stages{"framework started",
                            "module installed",
                            "module started",
                            "component available",
                            "client constructed (library loaded)",
                            "first answer"};

/// Milliseconds between one mark and the next, on the standard output.
class StopWatch {
public:
    void mark() {
        const auto now = std::chrono::steady_clock::now();
        std::cout << std::chrono::duration<double, std::milli>(now - last_).count() << ' ';
        last_ = std::chrono::steady_clock::now();
    }

private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

void loadOnly(const std::string& module) {
    StopWatch watch;
    if (::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr)
        throw std::runtime_error(::dlerror());
    watch.mark();
}

void start(BundleContext& context, const std::string& path) {
    for (auto& bundle : context.InstallBundles(path))
        bundle.Start();
}

void untilFirstAnswer(const std::string& module, const std::filesystem::path& socketDirectory) {
    StopWatch watch;
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    std::istringstream runtimeBundles(ZELKOR_RUNTIME_BUNDLES);
    for (std::string path; std::getline(runtimeBundles, path, ';');)
        start(context, path);
    agent::spf::transport::ConnectorOptions options;
    options.socketDirectory = socketDirectory;
    options.clientId = "bench";
    agent::spf::transport::Connector connector(context, options);
    connector.start();
    watch.mark();

    auto bundles = context.InstallBundles(module);
    watch.mark();
    bundles.at(0).Start();
    watch.mark();

    const auto admin = context.GetService(context.GetServiceReference<service::cm::ConfigurationAdmin>());
    admin->GetConfiguration("hv.HalvorinServiceHost.ZelkorLoginDetail~bench")
        ->Update(AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS))
        .get();
    auto reference = context.GetServiceReference<login::detail::ZelkorLogin>();
    while (!reference) // an installed framework goes on in the background
        reference = context.GetServiceReference<login::detail::ZelkorLogin>();
    watch.mark();
    const auto login = context.GetService(reference);
    if (!login)
        throw std::runtime_error("the module offers no login service");
    watch.mark();
    if (login->getRelease().empty())
        throw std::runtime_error("the daemon did not answer");
    watch.mark();
    std::cout << std::endl;
    std::_Exit(EXIT_SUCCESS); // the end is not what is measured
}

/// This program once more, as a new process; the times that it prints.
std::vector<double> inNewProcess(const std::string& arguments) {
    const auto command = std::filesystem::read_symlink("/proc/self/exe").string() + ' ' + arguments;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
    check(output != nullptr, "popen");
    std::vector<double> times;
    for (double time = 0; std::fscanf(output.get(), "%lf", &time) == 1;)
        times.push_back(time);
    return times;
}

void measure(const std::string& module, const std::string& hshd, int rounds) {
    const Daemon daemon(hshd);
    claimOneCpu({});
    std::array<std::vector<double>, stages.size()> stageTimes;
    std::vector<double> ratios, totals;
    for (int round = 0; round < rounds; ++round) {
        const auto alone = inNewProcess("--module '" + module + "' --once load");
        const auto whole = inNewProcess("--module '" + module + "' --socket-dir '" +
                                        daemon.socketDirectory().string() + "' --once answer");
        if (alone.size() != 1 || whole.size() != stages.size())
            throw std::runtime_error("a round did not come to its end");
        double total = 0;
        for (std::size_t i = 0; i < stages.size(); ++i) {
            stageTimes[i].push_back(whole[i]);
            total += whole[i];
        }
        totals.push_back(total);
        ratios.push_back(total / alone[0]);
    }
    report::ratio("empty process to first answer, times the loader's work for the library",
                  fixed(median(ratios), 2));
    report::absolute("empty process to first answer", fixed(median(totals), 1) + " ms");
    for (std::size_t i = 0; i < stages.size(); ++i)
        report::absolute(std::string("... until ") + stages[i], fixed(median(stageTimes[i]), 2) + " ms");
}

} // namespace

} // namespace zelkor::bench

int main(int argc, char** argv) {
    std::string module, hshd, once;
    std::filesystem::path socketDirectory;
    int rounds = 31;
    CLI::App app("Measures the way from an empty process to the module's first answer.");
    app.add_option("--module", module, "The module's library")->required()->check(CLI::ExistingFile);
    app.add_option("--hshd", hshd, "The daemon's program")->check(CLI::ExistingFile);
    app.add_option("--rounds", rounds, "Processes of each kind")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--once", once, "One round in this process, for the program itself: 'load' or 'answer'");
    app.add_option("--socket-dir", socketDirectory, "Where the daemon is, for --once answer");
    CLI11_PARSE(app, argc, argv);
    try {
        if (once == "load")
            zelkor::bench::loadOnly(module);
        else if (once == "answer")
            zelkor::bench::untilFirstAnswer(module, socketDirectory);
        else
            zelkor::bench::measure(module, hshd, rounds);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "module_load: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
