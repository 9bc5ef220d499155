#pragma once

#include <agent/spf/transport/Limits.h>

#include <cstddef>

namespace agent::spf::transport {

/// How many connections there are descriptors for, at most as many as the limits say.
struct Room {
    std::size_t clients;      ///< that have said hello
    std::size_t withoutHello; ///< beside those
};

/// Lets this process have as many descriptors as the system allows it, and divides them: some are kept for
/// its own files, what it opens to save among them.
Room provideDescriptors(const Limits& limits);

} // namespace agent::spf::transport
