#include "hshd/script/ScriptedService.h"

#include "contract/calls/ExportedCallback.h"
#include "contract/calls/SignatureDescriptor.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"
#include "hshd/Log.h"
#include "hshd/script/ScriptedCall.h"

#include <csignal>
#include <optional>
#include <stdexcept>
#include <typeinfo>
#include <unistd.h>
#include <utility>

namespace hshd {
namespace {

using agent::spf::core::ExportedCallback;
using agent::spf::core::GenericPayload;
using agent::spf::core::SignatureDescriptor;
using agent::spf::transport::OfferedService;
using login::LoginInfo;
using login::NegotiationTerms;

constexpr std::chrono::seconds callBackLimit{10};

/// The function that a call brings, if it brings one.
std::optional<ExportedCallback> callbackOf(const GenericPayload& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!arguments.isEmptySlot(i) && arguments.type(i) == typeid(ExportedCallback))
            return arguments.get<ExportedCallback>(i);
    }
    return std::nullopt;
}

/// Arguments that such a function takes; nothing for one of an unknown signature.
std::optional<GenericPayload> argumentsFor(const ExportedCallback& callback) {
    const auto is = [&](const SignatureDescriptor& signature) {
        return callback.descriptor() == signature.unnamed();
    };
    if (is(SignatureDescriptor::of<void(LoginInfo, LoginInfo)>()))
        return GenericPayload::of(LoginInfo(), LoginInfo());
    if (is(SignatureDescriptor::of<login::NegotiatorResponse(NegotiationTerms)>()))
        return GenericPayload::of(NegotiationTerms{});
    if (is(SignatureDescriptor::of<void(LoginInfo, std::string)>()))
        return GenericPayload::of(LoginInfo(), std::string("scripted failure"));
    if (is(SignatureDescriptor::of<void(std::string)>()))
        return GenericPayload::of(std::string("scripted failure"));
    if (is(SignatureDescriptor::of<bool()>()))
        return GenericPayload();
    return std::nullopt;
}

/// An empty name and the version 0 stand for any.
bool isAbout(const std::string& service, int version, const OfferedService& offered) {
    return (service.empty() || offered.name == service) && (version == 0 || offered.version == version);
}

GenericPayload otherTypeThan(const GenericPayload& result) {
    const bool isText = result.size() > 0 && !result.isEmptySlot(0) && result.type(0) == typeid(std::string);
    return isText ? GenericPayload::of(4711) : GenericPayload::of(std::string("scripted value"));
}

} // namespace

const Script::Rule* ScriptRun::ruleFor(const std::string& service, int version, const std::string& method) {
    const Script::Rule* first = nullptr;
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        const auto& rule = rules_[i];
        if ((rule.method != "*" && rule.method != method) ||
            (!rule.service.empty() && rule.service != service) ||
            (rule.version != 0 && rule.version != version))
            continue;
        const auto number = ++calls_[i];
        if (!first && number >= rule.from && number <= rule.to) {
            first = &rule;
            logger().log(Severity::info, "Script: rule " + std::to_string(i) + " plays on `" + method +
                                             "`, call " + std::to_string(number));
        }
    }
    return first;
}

void ScriptedService::onCall(std::unique_ptr<IncomingCall> call) {
    if (const auto* rule = run_->ruleFor(name_, version_, call->method()))
        play(*rule, std::move(call));
    else
        real_->onCall(std::move(call));
}

void ScriptedService::play(const Script::Rule& rule, std::unique_ptr<IncomingCall> call) {
    using Deed = Script::Deed;
    const auto answerBy = [&](ScriptedCall::Answered answered) {
        real_->onCall(std::make_unique<ScriptedCall>(std::move(call), std::move(answered)));
    };
    switch (rule.deed) {
    case Deed::Late:
        answerBy([run = run_, delay = rule.delay](const auto& original, GenericPayload result) {
            run->timers().after(delay, [original, result = std::move(result)] { original->reply(result); });
        });
        break;
    case Deed::Never:
        neverAnswered_.push_back(std::move(call));
        break;
    case Deed::Error:
        call->fail(rule.errorKind, rule.errorText);
        break;
    case Deed::WrongType:
        answerBy([](const auto& original, const GenericPayload& result) {
            original->reply(otherTypeThan(result));
        });
        break;
    case Deed::CallBackFirst:
        callBackFirst(std::move(call));
        break;
    case Deed::CutFrame:
        answerBy([](const auto& original, const GenericPayload&) { original->breakOff(); });
        break;
    case Deed::Exit:
        ::_exit(rule.exitCode);
    case Deed::Kill:
        ::kill(::getpid(), SIGKILL);
        break;
    }
}

void ScriptedService::callBackFirst(std::unique_ptr<IncomingCall> call) {
    const auto callback = callbackOf(call->arguments());
    const auto arguments = callback ? argumentsFor(*callback) : std::nullopt;
    if (!arguments) {
        logger().log(Severity::warning,
                     "Script: `" + call->method() + "` brings no function that can be called back");
        real_->onCall(std::move(call));
        return;
    }
    const auto client = call->client();
    // Both ends come on the I/O thread.
    const auto goOn = [self = shared_from_this(),
                       call = std::make_shared<std::unique_ptr<IncomingCall>>(std::move(call))] {
        self->real_->onCall(std::move(*call));
    };
    client->callBack(
        callback->getCallbackID(), *arguments, callBackLimit,
        {[goOn](const GenericPayload&) { goOn(); }, [goOn](const std::exception_ptr&) { goOn(); }});
}

void ScriptedService::onDisconnected(const Client& client) {
    std::erase_if(neverAnswered_, [&](const auto& call) { return call->client() == client; });
    real_->onDisconnected(client);
}

void checkServices(const Script& script, const std::vector<OfferedService>& offered) {
    const auto check = [&offered](const std::string& service, int version) {
        std::string list;
        for (const auto& one : offered) {
            if (isAbout(service, version, one))
                return;
            list += (list.empty() ? "" : ", ") + one.name + " (version " + std::to_string(one.version) + ')';
        }
        throw std::runtime_error("the script is about the service '" + service + "'" +
                                 (version == 0 ? "" : ", version " + std::to_string(version)) +
                                 ", which is not offered; offered are " + list);
    };
    for (const auto& rule : script.rules)
        check(rule.service, rule.version);
    for (const auto& announcement : script.announcements)
        check(announcement.service, announcement.version);
}

std::vector<OfferedService> scripted(const Script& script, std::vector<OfferedService> real) {
    const auto run = std::make_shared<ScriptRun>(script.rules);
    for (auto& service : real)
        service.service = std::make_shared<ScriptedService>(run, service);
    auto offered = real;
    for (const auto& announcement : script.announcements) {
        for (auto again : real) {
            if (!isAbout(announcement.service, announcement.version, again))
                continue;
            again.ranking = announcement.ranking;
            offered.push_back(std::move(again));
        }
    }
    return offered;
}

} // namespace hshd
