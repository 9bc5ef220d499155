#include "transport/server/Descriptors.h"

#include <algorithm>
#include <sys/resource.h>

namespace agent::spf::transport {

namespace {
// For what is no client: the daemon's files and those that it opens to save.
constexpr rlim_t ownDescriptors = 64;
} // namespace

Room provideDescriptors(const Limits& limits) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return {limits.connections, limits.connectionsWithoutHello};
    if (auto raised = limit; limit.rlim_cur < limit.rlim_max) {
        raised.rlim_cur = raised.rlim_max;
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0)
            limit = raised;
    }
    const auto room =
        static_cast<std::size_t>(limit.rlim_cur > ownDescriptors ? limit.rlim_cur - ownDescriptors : 2);
    const auto withoutHello = std::min(limits.connectionsWithoutHello, std::max<std::size_t>(room / 8, 1));
    return {std::min(limits.connections, room - withoutHello), withoutHello};
}

} // namespace agent::spf::transport
