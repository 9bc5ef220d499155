#include "module/runtime/Timeouts.h"

#include <cppmicroservices/Any.h>

#include <utility>

namespace agent::spf::cppmsclientutils {

namespace {

template <class... Integers>
std::optional<std::int64_t> integerOf(const cppmicroservices::Any& value) {
    std::optional<std::int64_t> result;
    const auto tryAs = [&]<class Integer>() {
        if (const auto* integer = cppmicroservices::any_cast<Integer>(&value);
            integer != nullptr && std::in_range<std::int64_t>(*integer))
            result = static_cast<std::int64_t>(*integer);
    };
    (tryAs.template operator()<Integers>(), ...);
    return result;
}

} // namespace

std::vector<std::string> Timeouts::update(const cppmicroservices::AnyMap& properties) {
    std::vector<std::string> complaints;
    const auto take = [&](const char* key, std::atomic<Rep>& target) {
        const auto found = properties.find(key);
        if (found == properties.end())
            return;
        const auto seconds = integerOf<int, long, long long, short, signed char, unsigned, unsigned long,
                                       unsigned long long, unsigned short, unsigned char>(found->second);
        if (seconds && *seconds <= absurd.count() && *seconds >= -absurd.count())
            target.store(*seconds, std::memory_order_relaxed);
        else
            complaints.push_back("Ignoring the configured value of `" + std::string(key) +
                                 "`: it must be a whole number of seconds, at most one year");
    };
    take(callKey, call_);
    take(serviceKey, service_);
    return complaints;
}

} // namespace agent::spf::cppmsclientutils
