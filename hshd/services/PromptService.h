#pragma once

#include "hshd/services/Registrations.h"
#include "hshd/services/RemoteMethod.h"
#include "hshd/services/Vocabulary.h"
#include "contract/calls/ExportedCallback.h"

#include <span>

namespace hshd {

/// Where clients register the functions by which the person at them is asked; @see PromptFront for what such
/// a function takes and answers. A client's prompts end with its connection.
class PromptService final : public agent::spf::transport::Service {
public:
    static constexpr const char* name = "SignInPrompts";
    static constexpr int version = 1;
    static constexpr int revision = 0;

    explicit PromptService(Registrations& prompts);

    static std::span<const RemoteMethod<PromptService>> methods();

    void onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) override;
    void onDisconnected(const Client& client) override { prompts_.drop(*client); }

private:
    boost::uuids::uuid addPrompt(const Client& client, const agent::spf::core::ExportedCallback& callback);
    bool removePrompt(const Client& client, const boost::uuids::uuid& id);

    Registrations& prompts_;
    const Vocabulary<PromptService> vocabulary_;
};

} // namespace hshd
