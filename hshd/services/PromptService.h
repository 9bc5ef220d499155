#pragma once

#include "contract/calls/ExportedCallback.h"
#include "hshd/services/Dispatch.h"
#include "hshd/services/Registrations.h"

#include <span>

namespace hshd {

/// Where clients register the functions by which the person at them is asked; @see PromptFront for what such
/// a function takes and answers. A client's prompts end with its connection.
class PromptService final : public Dispatch {
public:
    static constexpr const char* name = "SignInPrompts";
    static constexpr int version = 1;
    static constexpr int revision = 0;

    PromptService(Registrations& prompts, StateThread& stateThread);

    static std::span<const ServedMethod> methods();

private:
    boost::uuids::uuid addPrompt(const Client& client, const agent::spf::core::ExportedCallback& callback);
    bool removePrompt(const Client& client, const boost::uuids::uuid& id);

    Registrations& prompts_;
};

} // namespace hshd
