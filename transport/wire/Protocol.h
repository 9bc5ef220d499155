#pragma once

#include <cstddef>
#include <cstdint>

namespace agent::spf::transport::wire {

/// Both sides must say the same number in hello and welcome.
inline constexpr std::uint32_t protocolVersion = 2;

inline constexpr char socketName[] = "hshd.sock";
/// Held by the living daemon with flock(2); the file itself stays.
inline constexpr char lockName[] = "hshd.lock";

/// A longer name is refused with the hello.
inline constexpr std::size_t maxClientIdBytes = 128;
/// A method whose name and descriptor are longer together gets no number.
inline constexpr std::size_t maxMethodTextBytes = 4 * 1024;
/// Until a peer has introduced itself its frames may not be longer.
inline constexpr std::size_t maxGreetingBytes = 64 * 1024;

} // namespace agent::spf::transport::wire
