#include "host/prompt/PromptOffer.h"

#include "contract/calls/ExportedFunction.h"
#include "contract/calls/ServiceProperties.h"
#include "contract/vocabulary/SignInPrompts.h"
#include "host/commands/PrintableText.h"

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>
#include <foundation/json.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

namespace zelkor::host {

namespace {

namespace json = foundation::json;
namespace remote = login::spf::prompts::remote;
using agent::spf::core::Invokable;

/// A daemon that has the others and not this one after so long is one without.
constexpr std::chrono::seconds appearsWithin{5};

std::string textAt(const json::object& object, const char* key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

json::object problem(const char* text) {
    return {{"problem", text}};
}

json::object askCredentials(Terminal& terminal, const json::object& question) {
    auto account = textAt(question, "account");
    if (account.empty()) {
        auto typed = terminal.ask("Account: ");
        if (!typed)
            return problem("The sign-in was cancelled.");
        account = std::move(*typed);
    } else {
        terminal.say("Account: " + printable(account) + "\n");
    }
    auto password = terminal.ask("Password: ", /*hidden=*/true);
    if (!password)
        return problem("The sign-in was cancelled.");
    return {{"account", account}, {"password", std::move(*password)}};
}

json::object askConsent(Terminal& terminal) {
    const auto typed = terminal.ask("Log out all the same? [y/N] ");
    if (!typed)
        return problem("The sign-out was cancelled.");
    return {{"consent", *typed == "y" || *typed == "Y" || *typed == "yes"}};
}

std::string answer(Terminal& terminal, const std::string& text) {
    const auto question = json::parse(text).as_object();
    if (!terminal.available())
        return json::serialize(problem("There is no terminal to ask in."));
    if (const auto message = textAt(question, "message"); !message.empty())
        terminal.say(printable(message) + "\n");
    return json::serialize(textAt(question, "ask") == "consent" ? askConsent(terminal)
                                                                : askCredentials(terminal, question));
}

} // namespace

PromptOffer::PromptOffer(cppmicroservices::BundleContext context, std::chrono::seconds limit) {
    namespace properties = agent::spf::core::properties;
    // A daemon's services appear one after another, and this one may be the last.
    cppmicroservices::ServiceTracker<Invokable> tracker(
        context,
        cppmicroservices::LDAPFilter(std::string("(") + properties::serviceName + "=SignInPrompts)"));
    tracker.Open();
    const auto wait =
        std::clamp<std::chrono::milliseconds>(limit, std::chrono::milliseconds(1), appearsWithin);
    daemon_ = tracker.WaitForService(wait); // no time at all would be for ever
    if (!daemon_)
        throw std::runtime_error("the daemon offers no sign-in in a terminal. Update it, or see its log");
    callbacks_ = std::make_unique<agent::spf::core::CallbackManager>(daemon_->callbacks());
    std::function<remote::Prompt> prompt = [terminal = terminal_](const std::string& question) {
        return answer(*terminal, question);
    };
    const auto exported = callbacks_->makeExportedCallback(
        agent::spf::core::exportFunction(std::move(prompt)), std::nullopt, std::nullopt, false);
    daemon_->invokeAsync<boost::uuids::uuid>(limit, std::string(remote::addPrompt.name), exported).get();
}

PromptOffer::~PromptOffer() {
    cancel();
}

} // namespace zelkor::host
