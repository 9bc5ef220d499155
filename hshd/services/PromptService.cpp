#include "hshd/services/PromptService.h"

#include <utility>

namespace hshd {

using agent::spf::core::ExportedCallback;
using boost::uuids::uuid;

std::span<const RemoteMethod<PromptService>> PromptService::methods() {
    using S = PromptService;
    static constexpr RemoteMethod<PromptService> table[] = {
        remoteMethod<uuid(ExportedCallback), &S::addPrompt, S>("addPrompt", AnsweredOn::IoThread),
        remoteMethod<bool(uuid), &S::removePrompt, S>("removePrompt", AnsweredOn::IoThread),
    };
    return table;
}

PromptService::PromptService(Registrations& prompts)
    : prompts_(prompts), vocabulary_("SignInPrompts 1.0", methods()) {}

void PromptService::onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) {
    const Call call(std::move(incoming));
    if (const auto* method = vocabulary_.find(*call))
        method->answer(*this, call);
}

uuid PromptService::addPrompt(const Client& client, const ExportedCallback& callback) {
    return prompts_.add(client, callback.getCallbackID());
}

bool PromptService::removePrompt(const Client& client, const uuid& id) {
    return prompts_.remove(id, *client);
}

} // namespace hshd
