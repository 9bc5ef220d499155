#pragma once

namespace hshd {

/// The project's version.
const char* release() noexcept;

} // namespace hshd
