#pragma once

#include <cppmicroservices/AnyMap.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// The configured time limits of one client, in whole seconds. Lock-free; any thread may read while another
/// updates.
class Timeouts {
public:
    static constexpr char callKey[] = "timeouts::call";
    static constexpr char serviceKey[] = "timeouts::service";
    /// Values further from zero than this are taken for mistakes.
    static constexpr std::chrono::seconds absurd{366LL * 24 * 3600};

    /// Takes over the values that the map holds under the two keys. A value that is no integer, or is absurd,
    /// changes nothing and yields one text that names the key.
    std::vector<std::string> update(const cppmicroservices::AnyMap& properties);

    std::optional<std::chrono::seconds> call() const noexcept { return get(call_); }
    std::optional<std::chrono::seconds> service() const noexcept { return get(service_); }

private:
    using Rep = std::chrono::seconds::rep;
    static constexpr Rep unset = std::numeric_limits<Rep>::min();

    static std::optional<std::chrono::seconds> get(const std::atomic<Rep>& value) noexcept {
        const Rep seconds = value.load(std::memory_order_relaxed);
        return seconds == unset ? std::nullopt : std::optional(std::chrono::seconds(seconds));
    }

    std::atomic<Rep> call_{unset};
    std::atomic<Rep> service_{unset};
};

} // namespace agent::spf::cppmsclientutils
