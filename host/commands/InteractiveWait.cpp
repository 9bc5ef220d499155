#include "host/commands/InteractiveWait.h"

#include "contract/calls/Errors.h"
#include "host/NoAnswer.h"
#include "host/prompt/TerminalPrompt.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>

namespace zelkor::host {

namespace {

using std::chrono::steady_clock;

/// What is left to the daemon for taking something.
std::chrono::seconds timeLeft(const Session& session) {
    if (!session.deadline())
        return std::chrono::seconds(10);
    return std::max(std::chrono::seconds::zero(),
                    std::chrono::ceil<std::chrono::seconds>(*session.deadline() - steady_clock::now()));
}

login::prompt::PromptOffer offerPrompt(Session& session, bool browser) {
    if (session.deadline())
        session.host().configureAll("timeouts::call", static_cast<int>(timeLeft(session).count()));
    try {
        return {session.host().context(), std::make_shared<TerminalPrompt>(browser), timeLeft(session)};
    } catch (const std::exception& error) {
        throw NoAnswer(error.what());
    }
}

} // namespace

InteractiveWait::InteractiveWait(Session& session, login::interactive::ZelkorLogin& login, bool browser)
    : session_(session), login_(login), prompt_(offerPrompt(session, browser)) {}

bool InteractiveWait::late() const {
    return session_.deadline() && steady_clock::now() >= *session_.deadline();
}

void InteractiveWait::abort() {
    prompt_.cancel();
    Interruption::endSoon(); // a daemon may be what is stuck
    login_.abort();          // its end of the request comes by the handler
}

std::string InteractiveWait::outcomeOf(const std::function<void(Done)>& request) {
    using agent::spf::core::ErrorKind;
    const auto outcome = std::make_shared<std::promise<void>>();
    auto ended = outcome->get_future();
    request([outcome](const std::exception_ptr& error) {
        error ? outcome->set_exception(error) : outcome->set_value();
        Interruption::wake();
    });
    bool aborted = false;
    while (!aborted && ended.wait_for(std::chrono::seconds::zero()) != std::future_status::ready) {
        aborted = Interruption::came() || late();
        aborted ? abort() : Interruption::wait(session_.deadline());
    }
    prompt_.cancel(); // what is shown is over
    try {
        ended.get(); // it may have come while it was being aborted
        return {};
    } catch (const std::exception& error) {
        if (Interruption::came())
            return "The request was aborted.";
        if (aborted)
            throw NoAnswer("there was no outcome within the " + std::to_string(session_.limit().count()) +
                           " s of --timeout; the request was aborted");
        const auto* failure = dynamic_cast<const agent::spf::core::InvocationError*>(&error);
        if (failure && (failure->kind() == ErrorKind::Disconnected || failure->kind() == ErrorKind::Timeout))
            throw NoAnswer(error.what());
        return error.what();
    }
}

} // namespace zelkor::host
