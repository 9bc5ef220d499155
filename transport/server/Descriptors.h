#pragma once

#include <cstddef>

namespace agent::spf::transport {

/// Lets this process have as many descriptors as `connections` clients and its own files need, as far as the
/// system allows. @return how many clients there is room for.
std::size_t provideDescriptors(std::size_t connections);

} // namespace agent::spf::transport
