#include "hshd/Daemon.h"
#include "hshd/Log.h"
#include "hshd/Options.h"
#include "hshd/identity/accounts/PasswordHash.h"
#include "hshd/identity/oidc/Exchange.h"
#include "hshd/identity/oidc/OidcProvider.h"
#include "hshd/secrets/Secret.h"
#include "hshd/services/PromptService.h"

#include <foundation/log/setup.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

/// Blocks the signals that end the daemon, before there are threads, so that waitForEnd() gets them.
sigset_t blockEndSignals() {
    std::signal(SIGPIPE, SIG_IGN); // a client that goes away is the transport's business
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction inherited {};
        sigaction(signal, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN) // nohup, or a shell that starts it in the background
            sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void waitForEnd(const sigset_t& signals) {
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    // From here on a second signal ends the process at once; the state survives that.
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    hshd::logger().log(hshd::Severity::info, "hshd ends on signal " + std::to_string(signal));
}

void setUpLog(const hshd::Options& options) {
    foundation::log::Options log;
    log.console = options.logLevel;
    log.file = options.logFile;
    log.fileFilter = options.logLevel;
    foundation::log::setup(log);
}

/// What a person types does not show.
int printHash() {
    termios shown{};
    const bool terminal = ::tcgetattr(STDIN_FILENO, &shown) == 0;
    if (terminal) {
        auto hidden = shown;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
        std::cerr << "Password: " << std::flush;
    }
    std::string password;
    const bool read = static_cast<bool>(std::getline(std::cin, password));
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
        std::cerr << std::endl;
    }
    if (!read || password.empty())
        throw std::runtime_error("a password must not be empty; type one, or pass it on the standard input");
    std::cout << hshd::password::hash(password) << std::endl;
    hshd::wipe(password);
    return EXIT_SUCCESS;
}

template <class Service>
void printVocabulary() {
    for (const auto& method : Service::methods())
        std::cout << Service::name << ' ' << Service::version << '.' << Service::revision << ' '
                  << method.name << ' ' << method.signature.named(method.name) << '\n';
}

int run(const hshd::Options& options) {
    if (options.hashPassword)
        return printHash();
    if (options.exchange)
        return hshd::oidc::runExchange();
    if (options.checkProvider)
        return hshd::oidc::checkProvider(options.providerFile);
    if (options.printVocabulary) {
        printVocabulary<hshd::LoginServiceV1>();
        printVocabulary<hshd::LoginServiceV2>();
        printVocabulary<hshd::InteractiveService>();
        printVocabulary<hshd::PromptService>();
        return EXIT_SUCCESS;
    }
    umask(077);
    // Passwords and tokens pass through: no core keeps them, and no other process of the user reads them.
    if (!options.allowCore)
        ::prctl(PR_SET_DUMPABLE, 0);
    const sigset_t signals = blockEndSignals();
    setUpLog(options);
    hshd::Daemon daemon(options);
    daemon.start();
    std::cout << "hshd is ready on " << daemon.socketPath().string() << std::endl;
    waitForEnd(signals);
    daemon.stop();
    foundation::log::flush();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(hshd::parseOptions(argc, argv));
    } catch (const hshd::NoRun& noRun) {
        (noRun.exitCode() == 0 ? std::cout : std::cerr) << noRun.what();
        return noRun.exitCode();
    } catch (const std::exception& error) {
        std::cerr << "hshd: " << error.what() << '\n';
        return hshd::exitFailure;
    }
}
