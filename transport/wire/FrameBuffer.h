#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace agent::spf::transport::wire {

/// Collects received bytes and gives them back frame by frame, in place.
///
/// A frame is a header of eight bytes, both numbers little-endian, and a body:
///
///     uint32 magic       "ZSP1" as bytes
///     uint32 bodyBytes   a positive multiple of 8
///
/// so every body starts at a multiple of 8 and can be read where it lies. Not thread-safe.
class FrameBuffer {
public:
    static constexpr std::size_t headerBytes = 8;

    /// @param limit the largest body accepted, in bytes.
    explicit FrameBuffer(std::size_t limit);

    /// Writes the header of a body of this length.
    static void writeHeader(std::byte* to, std::uint32_t bodyBytes) noexcept;

    void setLimit(std::size_t limit) noexcept { limit_ = limit; }

    /// Room for the next bytes received, never empty: at least what the current frame still lacks.
    /// Invalidates bodies.
    std::span<std::byte> prepare();
    /// `count` bytes of the room are filled.
    void commit(std::size_t count) noexcept { end_ += count; }

    /// The body of the next complete frame, valid until prepare(); empty when more bytes are needed.
    /// @throws core::MalformedError for a header that is none, or a length that is odd or over the limit. The
    /// buffer is of no use afterwards.
    std::optional<std::span<const std::uint64_t>> next();

private:
    /// The body length in the header at begin_, of which all bytes are there.
    std::size_t checkedBodyBytes() const;
    std::byte* bytes() const noexcept { return reinterpret_cast<std::byte*>(words_.get()); }
    void relocate(std::size_t capacity);

    std::size_t limit_;
    std::size_t capacity_;
    std::unique_ptr<std::uint64_t[]> words_;
    std::size_t begin_ = 0; // always a multiple of 8
    std::size_t end_ = 0;
};

} // namespace agent::spf::transport::wire
