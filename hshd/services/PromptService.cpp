#include "hshd/services/PromptService.h"

#include "contract/vocabulary/SignInPrompts.h"
#include "hshd/services/CallbackSignature.h"

namespace hshd {

using agent::spf::core::ExportedCallback;
using boost::uuids::uuid;
namespace remote = login::spf::prompts::remote;

std::span<const ServedMethod> PromptService::methods() {
    using S = PromptService;
    using Methods = MethodsOf<S>;
    static constexpr ServedMethod table[] = {
        Methods::atOnce<&S::addPrompt>(remote::addPrompt),
        Methods::atOnce<&S::removePrompt>(remote::removePrompt),
    };
    return table;
}

PromptService::PromptService(Registrations& prompts, StateThread& stateThread)
    : Dispatch(nameOf<PromptService>(), methods(), stateThread, {&prompts}), prompts_(prompts) {}

uuid PromptService::addPrompt(const Client& client, const ExportedCallback& callback) {
    checkSignature<remote::Prompt>(callback);
    return prompts_.add(client, callback.getCallbackID());
}

bool PromptService::removePrompt(const Client& client, const uuid& id) {
    return prompts_.remove(id, *client);
}

} // namespace hshd
