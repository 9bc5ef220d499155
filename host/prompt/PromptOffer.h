#pragma once

#include "contract/calls/CallbackManager.h"
#include "contract/calls/Invokable.h"
#include "host/prompt/Terminal.h"

#include <cppmicroservices/BundleContext.h>

#include <chrono>
#include <memory>
#include <string>

namespace zelkor::host {

/// Offers the daemon to ask the person at this process's terminal, while it lives. docs/sign-in.md has what
/// is asked and answered.
class PromptOffer {
public:
    /// @param limit the time that the daemon has to take it.
    /// Its service is waited for, up to 5 s of it.
    /// @throws std::runtime_error when the daemon takes no prompts.
    PromptOffer(cppmicroservices::BundleContext context, std::chrono::seconds limit);
    /// Ends the question that is being asked.
    ~PromptOffer();
    PromptOffer(const PromptOffer&) = delete;
    PromptOffer& operator=(const PromptOffer&) = delete;

    /// Ends the question that is being asked; later ones are answered as cancelled. From any thread.
    void cancel() noexcept { terminal_->cancel(); }

private:
    const std::shared_ptr<Terminal> terminal_ = std::make_shared<Terminal>(); // shared with the question
    std::shared_ptr<agent::spf::core::Invokable> daemon_;
    std::unique_ptr<agent::spf::core::CallbackManager> callbacks_;
};

} // namespace zelkor::host
