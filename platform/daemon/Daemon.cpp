#include "platform/daemon/Daemon.h"

#include "platform/daemon/Accounts.h"
#include "platform/daemon/Log.h"
#include "platform/daemon/script/ScriptedService.h"
#include "records/Utf.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace hshd {
namespace {

using agent::spf::transport::OfferedService;

/// Whom to sign in at the start. Reads the accounts in any case: a mistake in them shows now, not at the
/// first sign-in.
std::optional<login::LoginInfo> startIdentity(const Options& options) {
    const bool anyName = options.accountsFile.empty();
    const Accounts accounts = anyName ? Accounts() : Accounts::fromFile(options.accountsFile);
    if (!options.signedIn)
        return std::nullopt;
    login::LoginInfo info;
    if (anyName) {
        info.userId = info.displayName = login::toUtf16(options.signedIn->account);
        info.level = login::LoginInfo::Level::SignedIn;
    } else if (const Account* account = accounts.find(options.signedIn->account)) {
        info = account->info;
    } else {
        throw std::runtime_error("there is no account '" + options.signedIn->account + "' in '" +
                                 options.accountsFile.string() +
                                 "'; name one that is there with --signed-in");
    }
    info.level = options.signedIn->level.value_or(info.level);
    return info;
}

std::vector<OfferedService> offered(const std::shared_ptr<LoginServiceV2>& v2) {
    return {{LoginServiceV2::name, LoginServiceV2::version, LoginServiceV2::revision, 0, v2}};
}

std::optional<Script> scriptOf(const Options& options) {
    if (options.script.empty())
        return std::nullopt;
    auto script = Script::fromFile(options.script);
    checkServices(script, offered(nullptr));
    logger().log(Severity::warning, "hshd misbehaves on purpose, by the script " + options.script.string());
    return script;
}

} // namespace

/// What the options refer to, read before anything is made: a mistake leaves nothing behind.
struct Daemon::Prepared {
    std::optional<login::LoginInfo> identity;
    std::optional<Script> script;
};

Daemon::Daemon(const Options& options) : Daemon(options, {startIdentity(options), scriptOf(options)}) {}

Daemon::Daemon(const Options& options, Prepared prepared)
    : store_(options.stateDirectory), notifier_(statusListeners_, options.listenerTimeout),
      state_(store_, options.endpoint, [this](const StatusChange& change) { notifier_.notify(change); }),
      loginServiceV2_(std::make_shared<LoginServiceV2>(LoginServiceV2::Parts{
          state_, stateThread_, statusListeners_, negotiators_, options.negotiationTimeout})),
      server_({options.socketDirectory, {}}, prepared.script
                                                 ? scripted(*prepared.script, offered(loginServiceV2_))
                                                 : offered(loginServiceV2_)) {
    if (prepared.identity)
        state_.signIn(std::move(*prepared.identity));
}

Daemon::~Daemon() {
    stop();
}

void Daemon::start() {
    server_.start();
    logger().log(Severity::info, "hshd is ready on " + socketPath().string());
}

void Daemon::stop() {
    // First nothing new comes in; then what was accepted is saved.
    server_.stop();
    stateThread_.drain();
}

} // namespace hshd
