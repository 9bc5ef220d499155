#include "transport/client/KnownMethods.h"

#include "transport/wire/Protocol.h"

namespace agent::spf::transport {

KnownMethods::Known KnownMethods::find(std::string_view method, core::SignatureDescriptor signature) {
    const auto hash = std::hash<std::string_view>()(method);
    const foundation::MutexLock lock(mutex_);
    const auto [first, last] = numbers_.equal_range(hash);
    for (auto it = first; it != last; ++it) {
        const Method& one = methods_[it->second - 1];
        if (one.name == method && one.signature == signature.unnamed())
            return {it->second, one.agreed};
    }
    if (methods_.size() >= most_ ||
        2 * method.size() + signature.unnamed().size() + 64 > wire::maxMethodTextBytes)
        return {0, false};
    methods_.reserve(methods_.size() + 1);
    const auto number = static_cast<std::uint32_t>(methods_.size() + 1);
    Method added{std::string(method), std::string(signature.unnamed())};
    numbers_.emplace(hash, number);
    methods_.push_back(std::move(added));
    return {number, false};
}

void KnownMethods::agree(std::uint32_t number) {
    if (number == 0)
        return;
    const foundation::MutexLock lock(mutex_);
    methods_[number - 1].agreed = true;
}

} // namespace agent::spf::transport
