#include "contract/calls/CallbackManager.h"

#include "contract/records/NotifierUuid.h"

#include <utility>

namespace agent::spf::core {

CallbackManager::~CallbackManager() {
    static_cast<void>(removeAllCallbacks());
}

ExportedCallback CallbackManager::makeExportedCallback(ExportedFunction function,
                                                       std::optional<unsigned int> callLimit,
                                                       std::optional<std::string> /*label*/, bool /*flag*/) {
    const auto id = login::detail::createUuid();
    ExportedCallback callback(id, std::string(function.signature.unnamed()), callLimit);
    table_->add(id, std::move(function), callLimit, this);
    return callback;
}

CallbackTable::Withdrawn CallbackManager::removeCallback(const boost::uuids::uuid& id) {
    return table_->remove(id, this);
}

CallbackTable::Withdrawn CallbackManager::removeAllCallbacks() {
    return table_->removeAll(this);
}

} // namespace agent::spf::core
