#include "hshd/Daemon.h"

#include "contract/records/Utf.h"
#include "hshd/Log.h"
#include "hshd/identity/accounts/AccountsProvider.h"
#include "hshd/identity/oidc/OidcProvider.h"
#include "hshd/process/Child.h"
#include "hshd/script/ScriptedService.h"
#include "hshd/services/PromptService.h"
#include "hshd/signin/PromptFront.h"
#include "hshd/signin/UnattendedFront.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace hshd {
namespace {

using agent::spf::transport::OfferedService;

/// Whom to sign in at the start.
std::optional<login::LoginInfo> startIdentity(const Options& options, const Accounts& accounts) {
    if (!options.signedIn)
        return std::nullopt;
    login::LoginInfo info;
    if (options.accountsFile.empty()) { // any name will do
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

/// Who answers for the person at a client.
std::unique_ptr<SignInFront> frontOf(const Options& options, Registrations& prompts) {
    if (options.unattended.empty())
        return std::make_unique<PromptFront>(prompts, options.promptTimeout);
    logger().log(Severity::warning, "Questions are answered unattended, from " + options.unattended.string());
    return std::make_unique<UnattendedFront>(UnattendedFront::fromFile(options.unattended));
}

template <class Service>
OfferedService offer(std::shared_ptr<Service> service) {
    return {Service::name, Service::version, Service::revision, 0, std::move(service)};
}

/// Of null services as well: for what is known about them.
std::vector<OfferedService> offered(Options::Versions versions, const std::shared_ptr<LoginServiceV1>& v1,
                                    const std::shared_ptr<LoginServiceV2>& v2,
                                    const std::shared_ptr<InteractiveService>& interactive,
                                    const std::shared_ptr<PromptService>& prompts) {
    std::vector<OfferedService> services;
    if (versions != Options::Versions::First) {
        services.push_back(offer(v2));
        services.push_back(offer(interactive));
    }
    if (versions != Options::Versions::Second)
        services.push_back(offer(v1));
    services.push_back(offer(prompts));
    return services;
}

std::optional<Script> scriptOf(const Options& options) {
    if (options.script.empty())
        return std::nullopt;
    auto script = Script::fromFile(options.script);
    checkServices(script, offered(options.versions, nullptr, nullptr, nullptr, nullptr));
    logger().log(Severity::warning, "hshd misbehaves on purpose, by the script " + options.script.string());
    return script;
}

} // namespace

/// What the options refer to, read before anything is made: a mistake leaves nothing behind.
struct Daemon::Prepared {
    explicit Prepared(const Options& options)
        : accounts(options.accountsFile.empty() ? Accounts() : Accounts::fromFile(options.accountsFile)),
          provider(options.providerFile.empty()
                       ? std::nullopt
                       : std::optional(oidc::Settings::fromFile(options.providerFile))),
          identity(startIdentity(options, accounts)), script(scriptOf(options)),
          prompts(std::make_unique<Registrations>(promptsPerClient)), front(frontOf(options, *prompts)) {}

    static constexpr std::size_t promptsPerClient = 8;
    Accounts accounts;
    std::optional<oidc::Settings> provider;
    std::optional<login::LoginInfo> identity;
    std::optional<Script> script;
    std::unique_ptr<Registrations> prompts;
    std::unique_ptr<SignInFront> front;
};

Daemon::Daemon(const Options& options) : Daemon(options, Prepared(options)) {}

Daemon::Daemon(const Options& options, Prepared prepared)
    : store_(options.stateDirectory, options.secrets, options.keyringProgram),
      prompts_(std::move(prepared.prompts)), front_(std::move(prepared.front)),
      notifier_(statusListeners_, options.listenerTimeout), state_(store_, options.endpoint,
                                                                   [this](const StatusChange& change) {
                                                                       notifier_.notify(change);
                                                                       provider_->sessionChanged();
                                                                   }),
      provider_(makeProvider(options, std::move(prepared))),
      loginServiceV2_(std::make_shared<LoginServiceV2>(loginParts(options))),
      interactiveService_(std::make_shared<InteractiveService>(InteractiveParts{
          state_, stateThread_, negotiators_, *provider_, *front_, options.negotiationTimeout})),
      loginServiceV1_(std::make_shared<LoginServiceV1>(loginParts(options), *interactiveService_)),
      server_({options.socketDirectory, {}}, [&] {
          auto services = offered(options.versions, loginServiceV1_, loginServiceV2_, interactiveService_,
                                  std::make_shared<PromptService>(*prompts_, stateThread_));
          return prepared.script ? scripted(*prepared.script, std::move(services)) : services;
      }()) {
    if (prepared.identity)
        state_.signIn({std::move(*prepared.identity), LoginState::newToken(), std::nullopt},
                      /*remember=*/true);
    provider_->sessionChanged(); // there may be one from the former run
}

std::unique_ptr<IdentityProvider> Daemon::makeProvider(const Options& options, Prepared&& prepared) {
    if (!prepared.provider)
        return std::make_unique<AccountsProvider>(std::move(prepared.accounts), *front_);
    return std::make_unique<oidc::OidcProvider>(
        std::move(*prepared.provider),
        oidc::OidcProvider::Parts{state_, stateThread_, *front_, store_.directory(), store_.vault(),
                                  options.program, options.signInTimeout});
}

LoginOperations::Parts Daemon::loginParts(const Options& options) {
    return {state_, stateThread_, statusListeners_, negotiators_, *provider_, options.negotiationTimeout};
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
    provider_->stop();
    stateThread_.drain();
}

} // namespace hshd
