#include "transport/wire/FrameBuffer.h"

#include "contract/calls/Errors.h"

#include <boost/endian/conversion.hpp>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace agent::spf::transport::wire {

namespace {

// What usual traffic fits into, many frames at a time; a longer frame gets its own room for as long as it is
// there.
constexpr std::size_t usualCapacity = 64 * 1024;
constexpr std::uint32_t magic = 0x3150535A;

std::uint32_t load32(const std::byte* from) noexcept {
    return boost::endian::load_little_u32(reinterpret_cast<const unsigned char*>(from));
}

} // namespace

FrameBuffer::FrameBuffer(std::size_t limit)
    : limit_(limit), capacity_(usualCapacity),
      words_(std::make_unique_for_overwrite<std::uint64_t[]>(usualCapacity / sizeof(std::uint64_t))) {}

void FrameBuffer::writeHeader(std::byte* to, std::uint32_t bodyBytes) noexcept {
    auto* out = reinterpret_cast<unsigned char*>(to);
    boost::endian::store_little_u32(out, magic);
    boost::endian::store_little_u32(out + sizeof magic, bodyBytes);
}

std::size_t FrameBuffer::checkedBodyBytes() const {
    if (load32(bytes() + begin_) != magic)
        throw core::MalformedError("what was received is not the start of a frame");
    const std::size_t body = load32(bytes() + begin_ + sizeof magic);
    if (body == 0 || body % sizeof(std::uint64_t) != 0)
        throw core::MalformedError("a frame announces a length of " + std::to_string(body) +
                                   " bytes, which is not a positive multiple of 8");
    if (body > limit_)
        throw core::MalformedError("a frame announces " + std::to_string(body) + " bytes, the limit is " +
                                   std::to_string(limit_));
    return body;
}

std::span<std::byte> FrameBuffer::prepare() {
    const std::size_t held = end_ - begin_;
    if (held == 0) {
        begin_ = end_ = 0;
        if (capacity_ > usualCapacity)
            relocate(usualCapacity);
    } else {
        // next() has checked the header that lies here, if one does.
        const std::size_t wanted = held < headerBytes ? headerBytes : headerBytes + checkedBodyBytes();
        if (begin_ + wanted > capacity_ && begin_ > 0) {
            std::memmove(bytes(), bytes() + begin_, held);
            begin_ = 0;
            end_ = held;
        }
        // Grows with what has come, so that an announced length alone costs no memory.
        if (end_ == capacity_)
            relocate(std::min(wanted, 2 * capacity_));
    }
    return {bytes() + end_, capacity_ - end_};
}

void FrameBuffer::relocate(std::size_t capacity) {
    auto moved = std::make_unique_for_overwrite<std::uint64_t[]>(capacity / sizeof(std::uint64_t));
    std::memcpy(moved.get(), bytes() + begin_, end_ - begin_);
    words_ = std::move(moved);
    capacity_ = capacity;
    end_ -= begin_;
    begin_ = 0;
}

std::optional<std::span<const std::uint64_t>> FrameBuffer::next() {
    if (end_ - begin_ < headerBytes)
        return std::nullopt;
    const std::size_t body = checkedBodyBytes();
    if (end_ - begin_ < headerBytes + body)
        return std::nullopt;
    const auto* start = words_.get() + (begin_ + headerBytes) / sizeof(std::uint64_t);
    begin_ += headerBytes + body;
    return std::span(start, body / sizeof(std::uint64_t));
}

} // namespace agent::spf::transport::wire
