#include "hshd/services/InteractiveService.h"

#include "contract/calls/Errors.h"
#include "contract/records/InteractiveOptions.h"
#include "contract/vocabulary/InteractiveV2.h"
#include "hshd/Log.h"
#include "hshd/services/CallbackSignature.h"
#include "hshd/services/FailureText.h"
#include "hshd/signin/SignOutRequest.h"

#include <foundation/json.h>

#include <utility>

namespace hshd {
namespace {

namespace json = foundation::json;
namespace remote = login::spf::interactive::remote;
using agent::spf::core::ExportedCallback;
using agent::spf::core::GenericPayload;
using agent::spf::core::MalformedError;
using login::LoginInfo;

constexpr std::chrono::seconds outcomeLimit{10};

/// The options as clients send them. Unknown ones are a newer client's, and are passed over.
json::object optionsOf(const std::string& text) {
    try {
        auto document = json::parse(text);
        if (document.is_object())
            return std::move(document.get_object());
    } catch (const std::invalid_argument&) {
        // no JSON at all
    }
    throw MalformedError("the options are not a JSON object");
}

bool flag(const json::object& options, std::string_view key, bool missing) {
    const auto* value = options.if_contains(key);
    if (value && !value->is_bool())
        throw MalformedError("the option `" + std::string(key) + "` must be true or false");
    return value ? value->get_bool() : missing;
}

std::string text(const json::object& options, std::string_view key) {
    const auto* value = options.if_contains(key);
    if (value && !value->is_string())
        throw MalformedError("the option `" + std::string(key) + "` must be a text");
    return value ? std::string(std::string_view(value->get_string())) : std::string();
}

/// Calls the function that a request brought.
void tell(const Client& client, const ExportedCallback& callback, GenericPayload outcome) {
    client->callBack(callback.getCallbackID(), std::move(outcome), outcomeLimit,
                     {[](const GenericPayload&) {},
                      [client](const std::exception_ptr& error) {
                          logger().log(Severity::warning,
                                       "Client " + client->clientId() +
                                           " was not told the outcome of its request: " + failureText(error));
                      }});
}

} // namespace

std::span<const ServedMethod> InteractiveService::methods() {
    using S = InteractiveService;
    using Methods = MethodsOf<S>;
    static constexpr ServedMethod table[] = {
        Methods::atOnce<&S::requestLoginAsync>(remote::requestLoginAsync),
        Methods::atOnce<&S::requestLogoutWithOptionsAsync>(remote::requestLogoutWithOptionsAsync),
        Methods::atOnce<&S::abort>(remote::abort),
        Methods::atOnce<&S::supportsWebRedirect>(remote::supportsWebRedirect),
    };
    return table;
}

InteractiveService::InteractiveService(const InteractiveParts& parts)
    : Dispatch(nameOf<InteractiveService>(), methods(), parts.stateThread, {this}), parts_(parts) {}

void InteractiveService::requestLoginAsync(const Client& client, const std::string& requester,
                                           const ExportedCallback& callback, int level,
                                           const std::string& options) {
    checkSignature<remote::LoginOutcome>(callback);
    const auto read = optionsOf(options);
    logger().log(Severity::info, "Client " + client->clientId() + " requests a sign-in at level " +
                                     std::to_string(level) + " for `" + requester.substr(0, 256) + "`");
    const auto number = ++lastNumber_;
    begin(client,
          {number,
           std::make_shared<SignInRequest>(
               parts_, client,
               SignInRequest::Wish{static_cast<LoginState::Level>(level), flag(read, "rememberMe", false),
                                   flag(read, "forcePrompt", false), text(read, "accountHint")},
               [this, client, callback, number](LoginInfo info, std::string error) {
                   ended(client, number);
                   tell(client, callback, GenericPayload::of(std::move(info), std::move(error)));
               })});
}

void InteractiveService::requestLogoutWithOptionsAsync(const Client& client, const ExportedCallback& callback,
                                                       const std::string& options) {
    checkSignature<remote::LogoutOutcome>(callback);
    const auto read = optionsOf(options);
    login::interactive::LogoutOptions wish;
    wish.askConsent = flag(read, "askConsent", wish.askConsent);
    wish.forgetAccount = flag(read, "forgetAccount", wish.forgetAccount);
    const auto number = ++lastNumber_;
    begin(client, {number, std::make_shared<SignOutRequest>(
                               parts_, client, wish, [this, client, callback, number](std::string error) {
                                   ended(client, number);
                                   tell(client, callback, GenericPayload::of(std::move(error)));
                               })});
}

void InteractiveService::abort(const Client& client) {
    if (const auto request = take(client->id()))
        request->cancel("The request was aborted.");
}

bool InteractiveService::supportsWebRedirect() const {
    return parts_.provider.supportsWebRedirect();
}

void InteractiveService::begin(const Client& client, const Pending& pending) {
    bool first = false;
    {
        const foundation::MutexLock lock(mutex_);
        first = pending_.emplace(client->id(), pending).second;
    }
    if (!first)
        throw agent::spf::core::RefusedError(
            "another sign-in or sign-out of this program is under way; wait for "
            "it or abort it first");
    pending.request->start();
}

void InteractiveService::ended(const Client& client, std::uint64_t number) {
    std::shared_ptr<InteractiveRequest> released; // after the lock
    const foundation::MutexLock lock(mutex_);
    const auto found = pending_.find(client->id());
    if (found == pending_.end() || found->second.number != number)
        return;
    released = std::move(found->second.request);
    pending_.erase(found);
}

std::shared_ptr<InteractiveRequest> InteractiveService::take(const boost::uuids::uuid& client) {
    const foundation::MutexLock lock(mutex_);
    const auto node = pending_.extract(client);
    return node ? node.mapped().request : nullptr;
}

void InteractiveService::clientGone(const Client& client) {
    if (const auto request = take(client->id()))
        request->cancel("The program that asked is gone.");
}

} // namespace hshd
