#include "hshd/signin/PromptFront.h"

#include "contract/calls/Errors.h"
#include "hshd/identity/accounts/PasswordHash.h"

#include <foundation/json.h>

#include <algorithm>
#include <utility>

namespace hshd {
namespace {

namespace json = foundation::json;
using agent::spf::core::GenericPayload;
using agent::spf::core::TimeoutError;

std::string textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

PersonsAnswer failed(const std::exception_ptr& error) {
    PersonsAnswer answer;
    try {
        std::rethrow_exception(error);
    } catch (const TimeoutError&) {
        answer.problem = "Nobody answered in time.";
    } catch (...) {
        answer.problem = "The program that asked could not show the question.";
    }
    return answer;
}

PersonsAnswer read(GenericPayload payload) {
    PersonsAnswer answer;
    try {
        auto text = payload.take<std::string>(0);
        auto document = json::parse(text);
        password::wipe(text);
        auto& object = document.as_object();
        answer.problem = textAt(object, "problem");
        answer.account = textAt(object, "account");
        if (auto* typed = object.if_contains("password"); typed && typed->is_string()) {
            auto& password = typed->get_string();
            answer.password = Secret(password);
            hshd::password::wipe({password.data(), password.size()});
        }
        const auto* consent = object.if_contains("consent");
        answer.consent = consent && consent->is_bool() && consent->get_bool();
    } catch (const std::exception&) {
        answer.problem = "The program that asked gave no answer that can be read.";
    }
    return answer;
}

} // namespace

void PromptFront::askCredentials(const Client& client, const CredentialQuestion& question,
                                 Answered answered) {
    ask(client,
        json::serialize(json::object{
            {"ask", "credentials"}, {"message", question.message}, {"account", question.account}}),
        answered);
}

void PromptFront::askConsent(const Client& client, const std::string& message, Answered answered) {
    ask(client, json::serialize(json::object{{"ask", "consent"}, {"message", message}}), answered);
}

void PromptFront::ask(const Client& client, std::string question, const Answered& answered) {
    const auto all = prompts_.all();
    const auto prompt = std::ranges::find(all, client->id(), &Registrations::Entry::owner);
    if (prompt == all.end()) {
        PersonsAnswer nobody;
        nobody.problem =
            "The program that asked offers no way to ask the person. Use one that does: zelkorlogin.";
        answered(std::move(nobody));
        return;
    }
    client->callBack(prompt->callback, GenericPayload::of(std::move(question)), limit_,
                     {[answered](GenericPayload payload) { answered(read(std::move(payload))); },
                      [answered](const std::exception_ptr& error) { answered(failed(error)); }});
}

} // namespace hshd
