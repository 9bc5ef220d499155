#pragma once

#include <filesystem>

namespace agent::spf::transport {

/// Where daemon and clients meet unless told otherwise: `$XDG_RUNTIME_DIR/zelkor`, or a per-user directory in
/// the system's temp folder.
std::filesystem::path defaultSocketDirectory();

} // namespace agent::spf::transport
