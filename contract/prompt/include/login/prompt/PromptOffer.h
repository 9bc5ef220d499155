#pragma once

#include <cppmicroservices/BundleContext.h>
#include <login/prompt/SignInPrompt.h>

#include <chrono>
#include <memory>

namespace login::prompt {

/// Offers the daemon to ask the person by a prompt of this process, while it lives: requests of this process
/// are answered there. One for a process is enough; of several the daemon takes the oldest.
class PromptOffer {
public:
    /// Waits for the daemon's service, 5 s at most.
    /// @param limit the time that the daemon has for all of it
    /// @throws std::runtime_error when the daemon takes no prompts, or is not there;
    /// agent::spf::core::InvocationError when it does not answer.
    PromptOffer(cppmicroservices::BundleContext context, std::shared_ptr<SignInPrompt> prompt,
                std::chrono::seconds limit);
    /// Cancels the question that is being asked.
    ~PromptOffer();
    PromptOffer(PromptOffer&&) noexcept;
    PromptOffer& operator=(PromptOffer&&) = delete;

    /// Cancels the question that is being asked, and all later ones. From any thread.
    void cancel() noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace login::prompt
