#include "transport/server/Descriptors.h"

#include <algorithm>
#include <sys/resource.h>

namespace agent::spf::transport {

namespace {
// For what is no client: the daemon's files and those that it opens to save.
constexpr rlim_t ownDescriptors = 64;
} // namespace

std::size_t provideDescriptors(std::size_t connections) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return connections;
    const rlim_t wanted = std::min<rlim_t>(connections + ownDescriptors, limit.rlim_max);
    if (limit.rlim_cur < wanted) {
        auto raised = limit;
        raised.rlim_cur = wanted;
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0)
            limit = raised;
    }
    const rlim_t room = limit.rlim_cur > ownDescriptors ? limit.rlim_cur - ownDescriptors : 1;
    return static_cast<std::size_t>(std::min<rlim_t>(connections, room));
}

} // namespace agent::spf::transport
