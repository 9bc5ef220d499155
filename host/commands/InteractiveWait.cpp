#include "host/commands/InteractiveWait.h"

#include "host/NoAnswer.h"
#include "contract/calls/Errors.h"

#include <chrono>
#include <future>
#include <memory>

namespace zelkor::host {

namespace {

PromptOffer offerPrompt(Host& host) {
    try {
        return PromptOffer(host.context());
    } catch (const std::exception& error) {
        throw NoAnswer(error.what());
    }
}

} // namespace

InteractiveWait::InteractiveWait(Host& host, login::interactive::ZelkorLogin& login)
    : login_(login), prompt_(offerPrompt(host)) {}

std::string InteractiveWait::outcomeOf(const std::function<void(Done)>& request) {
    const auto outcome = std::make_shared<std::promise<void>>();
    auto ended = outcome->get_future();
    request([outcome](const std::exception_ptr& error) {
        error ? outcome->set_exception(error) : outcome->set_value();
        Interruption::wake();
    });
    while (ended.wait_for(std::chrono::seconds::zero()) != std::future_status::ready) {
        if (Interruption::came()) {
            prompt_.cancel();
            login_.abort(); // its end of the request comes by the handler
            ended.wait();
            return "The request was aborted.";
        }
        Interruption::wait();
    }
    try {
        ended.get();
        return {};
    } catch (const agent::spf::core::DisconnectedError& error) {
        throw NoAnswer(error.what());
    } catch (const std::exception& error) {
        return error.what();
    }
}

} // namespace zelkor::host
