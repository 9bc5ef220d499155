#include "contract/calls/CallbackManager.h"
#include "contract/calls/ExportedFunction.h"
#include "contract/calls/Invokable.h"
#include "contract/calls/ServiceProperties.h"
#include "contract/vocabulary/SignInPrompts.h"

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>
#include <foundation/json.h>
#include <login/prompt/PromptOffer.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

namespace login::prompt {
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

std::string problem(const char* text) {
    return json::serialize(json::object{{"problem", text}});
}

/// Not by the optimiser's leave.
void wipe(std::string& text) {
    volatile char* bytes = text.data();
    for (std::size_t i = 0; i < text.size(); ++i)
        bytes[i] = '\0';
}

std::string askCredentials(SignInPrompt& prompt, const json::object& question) {
    auto given = prompt.askCredentials(textAt(question, "message"), textAt(question, "account"));
    if (!given)
        return problem("The sign-in was cancelled.");
    auto answer = json::serialize(json::object{{"account", given->account}, {"password", given->password}});
    wipe(given->password);
    return answer;
}

std::string askConsent(SignInPrompt& prompt, const json::object& question) {
    const auto consent = prompt.askConsent(textAt(question, "message"));
    return consent ? json::serialize(json::object{{"consent", *consent}})
                   : problem("The sign-out was cancelled.");
}

std::string showCode(SignInPrompt& prompt, const json::object& question) {
    const auto* seconds = question.if_contains("seconds");
    const bool shown = prompt.showCode(
        {textAt(question, "address"), textAt(question, "completeAddress"), textAt(question, "code"),
         std::chrono::seconds(seconds && seconds->is_int64() ? seconds->get_int64() : 0)});
    return json::serialize(json::object{{"shown", shown}});
}

std::string answer(SignInPrompt& prompt, const std::string& text) {
    try {
        const auto question = json::parse(text).as_object();
        const auto ask = textAt(question, "ask");
        if (ask == "credentials")
            return askCredentials(prompt, question);
        if (ask == "consent")
            return askConsent(prompt, question);
        if (ask == "open")
            return json::serialize(json::object{{"shown", prompt.openAddress(textAt(question, "address"))}});
        if (ask == "code")
            return showCode(prompt, question);
        return problem("This program is older than the daemon and does not know its question. Update it.");
    } catch (const std::exception&) {
        return problem("The program that asked could not show the question.");
    }
}

} // namespace

struct PromptOffer::State {
    std::shared_ptr<SignInPrompt> prompt; // shared with the question
    std::shared_ptr<Invokable> daemon;
    std::unique_ptr<agent::spf::core::CallbackManager> callbacks;
};

PromptOffer::PromptOffer(cppmicroservices::BundleContext context, std::shared_ptr<SignInPrompt> prompt,
                         std::chrono::seconds limit)
    : state_(std::make_unique<State>()) {
    namespace properties = agent::spf::core::properties;
    state_->prompt = std::move(prompt);
    // A daemon's services appear one after another, and this one may be the last.
    cppmicroservices::ServiceTracker<Invokable> tracker(
        context,
        cppmicroservices::LDAPFilter(std::string("(") + properties::serviceName + "=SignInPrompts)"));
    tracker.Open();
    const auto wait =
        std::clamp<std::chrono::milliseconds>(limit, std::chrono::milliseconds(1), appearsWithin);
    state_->daemon = tracker.WaitForService(wait); // no time at all would be for ever
    if (!state_->daemon)
        throw std::runtime_error("the daemon offers no sign-in in a terminal. Update it, or see its log");
    state_->callbacks = std::make_unique<agent::spf::core::CallbackManager>(state_->daemon->callbacks());
    std::function<remote::Prompt> asked = [shown = state_->prompt](const std::string& question) {
        return answer(*shown, question);
    };
    const auto exported = state_->callbacks->makeExportedCallback(
        agent::spf::core::exportFunction(std::move(asked)), std::nullopt, std::nullopt, false);
    state_->daemon->invokeAsync<boost::uuids::uuid>(limit, std::string(remote::addPrompt.name), exported)
        .get();
}

PromptOffer::PromptOffer(PromptOffer&&) noexcept = default;

PromptOffer::~PromptOffer() {
    cancel();
}

void PromptOffer::cancel() noexcept {
    if (state_)
        state_->prompt->cancel();
}

} // namespace login::prompt
