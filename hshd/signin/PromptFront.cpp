#include "hshd/signin/PromptFront.h"

#include "contract/calls/Errors.h"

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

std::string problemOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const TimeoutError&) {
        return "Nobody answered in time.";
    } catch (...) {
        return "The program that asked could not show the question.";
    }
}

constexpr char unreadable[] = "The program that asked gave no answer that can be read.";

PersonsAnswer read(std::string text, std::string problem) {
    PersonsAnswer answer;
    answer.problem = std::move(problem);
    if (!answer.problem.empty())
        return answer;
    try {
        auto document = json::parse(text);
        wipe(text);
        auto& object = document.as_object();
        answer.problem = textAt(object, "problem");
        answer.account = textAt(object, "account");
        if (auto* typed = object.if_contains("password"); typed && typed->is_string()) {
            auto& password = typed->get_string();
            answer.password = Secret(password);
            wipe({password.data(), password.size()});
        }
        const auto* consent = object.if_contains("consent");
        answer.consent = consent && consent->is_bool() && consent->get_bool();
    } catch (const std::exception&) {
        answer.problem = unreadable;
    }
    return answer;
}

void readShown(const std::string& text, std::string problem, const SignInFront::Shown& shown) {
    bool is = false;
    try {
        if (problem.empty()) {
            const auto document = json::parse(text);
            const auto& object = document.as_object();
            problem = textAt(object, "problem");
            const auto* value = object.if_contains("shown");
            is = value && value->is_bool() && value->get_bool();
        }
    } catch (const std::exception&) {
        problem = unreadable;
    }
    shown(is && problem.empty(), std::move(problem));
}

} // namespace

void PromptFront::askCredentials(const Client& client, const CredentialQuestion& question,
                                 Answered answered) {
    ask(client,
        json::serialize(json::object{
            {"ask", "credentials"}, {"message", question.message}, {"account", question.account}}),
        [answered = std::move(answered)](std::string answer, std::string problem) {
            answered(read(std::move(answer), std::move(problem)));
        });
}

void PromptFront::askConsent(const Client& client, const std::string& message, Answered answered) {
    ask(client, json::serialize(json::object{{"ask", "consent"}, {"message", message}}),
        [answered = std::move(answered)](std::string answer, std::string problem) {
            answered(read(std::move(answer), std::move(problem)));
        });
}

void PromptFront::openAddress(const Client& client, const std::string& address, Shown shown) {
    ask(client, json::serialize(json::object{{"ask", "open"}, {"address", address}}),
        [shown = std::move(shown)](const std::string& answer, std::string problem) {
            readShown(answer, std::move(problem), shown);
        });
}

void PromptFront::showCode(const Client& client, const DeviceCode& code, Shown shown) {
    ask(client,
        json::serialize(json::object{{"ask", "code"},
                                     {"address", code.address},
                                     {"completeAddress", code.completeAddress},
                                     {"code", code.code},
                                     {"seconds", code.lasts.count()}}),
        [shown = std::move(shown)](const std::string& answer, std::string problem) {
            readShown(answer, std::move(problem), shown);
        });
}

void PromptFront::ask(const Client& client, std::string question,
                      std::function<void(std::string answer, std::string problem)> answered) {
    const auto all = prompts_.all();
    const auto prompt = std::ranges::find(all, client->id(), &Registrations::Entry::owner);
    if (prompt == all.end()) {
        answered({},
                 "The program that asked offers no way to ask the person. Use one that does: zelkorlogin.");
        return;
    }
    // One of the two is called.
    const auto shared = std::make_shared<decltype(answered)>(std::move(answered));
    client->callBack(prompt->callback, GenericPayload::of(std::move(question)), limit_,
                     {[shared](GenericPayload payload) {
                          try {
                              (*shared)(payload.take<std::string>(0), {});
                          } catch (const agent::spf::core::InvocationError&) {
                              (*shared)({}, unreadable);
                          }
                      },
                      [shared](const std::exception_ptr& error) { (*shared)({}, problemOf(error)); }});
}

} // namespace hshd
