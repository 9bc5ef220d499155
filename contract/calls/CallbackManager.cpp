#include "contract/calls/CallbackManager.h"

#include "contract/records/NotifierUuid.h"

#include <utility>
#include <vector>

namespace agent::spf::core {

CallbackManager::~CallbackManager() {
    static_cast<void>(removeAllCallbacks());
}

ExportedCallback CallbackManager::makeExportedCallback(ExportedFunction function,
                                                       std::optional<unsigned int> callLimit,
                                                       std::optional<std::string> /*label*/, bool /*flag*/) {
    const auto id = login::detail::createUuid();
    ExportedCallback callback(id, std::string(function.signature.unnamed()), callLimit);
    table_->add(id, std::move(function), callLimit);
    ids_.insert(id);
    return callback;
}

CallbackTable::Withdrawn CallbackManager::removeCallback(const boost::uuids::uuid& id) {
    if (ids_.erase(id) == 0)
        return {};
    return table_->remove({id});
}

CallbackTable::Withdrawn CallbackManager::removeAllCallbacks() {
    const std::vector<boost::uuids::uuid> ids(ids_.begin(), ids_.end());
    ids_.clear();
    return table_->remove(ids);
}

} // namespace agent::spf::core
