#include "transport/wire/Frame.h"

#include "transport/wire/FrameBuffer.h"
#include "transport/wire/PayloadCodec.h"

#include <algorithm>
#include <cstring>
#include <sys/socket.h>

namespace agent::spf::transport::wire {

namespace {

// A text that is longer than this tells people nothing more, and must not push a reply over the peer's frame
// limit.
constexpr std::size_t maxErrorBytes = 16 * 1024;

/// As much as may be sent, without half a UTF-8 character at its end.
std::string_view shortened(std::string_view text) {
    if (text.size() <= maxErrorBytes)
        return text;
    const auto continues = [&](std::size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80;
    };
    auto end = maxErrorBytes;
    while (end > maxErrorBytes - 3 && continues(end))
        --end;
    return text.substr(0, end);
}

capnp::ReaderOptions optionsFor(std::size_t words, const Limits& limits) {
    capnp::ReaderOptions options;
    // Each part is read once or twice. Pointers that lead to one place many times cannot make more of a frame
    // than this.
    options.traversalLimitInWords = 4 * words + 64;
    options.nestingLimit = limits.nesting;
    return options;
}

} // namespace

std::size_t FrameBuilder::bytes() {
    return FrameBuffer::headerBytes + capnp::computeSerializedSizeInWords(builder_) * sizeof(capnp::word);
}

void FrameBuilder::appendTo(std::vector<std::byte>& out) {
    const auto segments = builder_.getSegmentsForOutput();
    // The standard stream framing: a table of segment sizes, padded to a whole word, and the segments.
    const std::size_t at = out.size();
    out.resize(at + bytes());
    std::byte* to = out.data() + at;
    FrameBuffer::writeHeader(to, static_cast<std::uint32_t>(out.size() - at - FrameBuffer::headerBytes));
    to += FrameBuffer::headerBytes;
    const auto store = [&to](std::uint32_t value) {
        std::memcpy(to, &value, sizeof value);
        to += sizeof value;
    };
    store(static_cast<std::uint32_t>(segments.size() - 1));
    for (const auto& segment : segments)
        store(static_cast<std::uint32_t>(segment.size()));
    if ((segments.size() + 1) % 2 != 0)
        store(0);
    for (const auto& segment : segments) {
        std::memcpy(to, segment.begin(), segment.size() * sizeof(capnp::word));
        to += segment.size() * sizeof(capnp::word);
    }
}

FrameReader::FrameReader(std::span<const std::uint64_t> body, const Limits& limits)
    : reader_(kj::arrayPtr(reinterpret_cast<const capnp::word*>(body.data()), body.size()),
              optionsFor(body.size(), limits)) {}

void fillMethod(Method::Builder to, std::string_view name, std::string_view descriptor) {
    setText(to.initName(static_cast<unsigned>(name.size())), name);
    setText(to.initDescriptor(static_cast<unsigned>(descriptor.size())), descriptor);
}

void fillReply(Reply::Builder reply, std::uint64_t id, const core::GenericPayload& result) {
    reply.setId(id);
    encodePayload(result, reply.initPayload(static_cast<unsigned>(result.size())));
}

void fillError(Reply::Builder reply, std::uint64_t id, core::ErrorKind kind, std::string_view text) {
    text = shortened(text);
    reply.setId(id);
    auto error = reply.initError();
    error.setKind(static_cast<std::uint16_t>(kind));
    setText(error.initText(static_cast<unsigned>(text.size())), text);
}

void sendGoodbye(int socket, std::string_view text) {
    FrameBuilder frame;
    setText(frame.message().initGoodbye().initText(static_cast<unsigned>(text.size())), text);
    std::vector<std::byte> bytes;
    frame.appendTo(bytes);
    ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void setText(capnp::Text::Builder to, std::string_view text) {
    std::copy(text.begin(), text.end(), to.begin());
}

std::string textOf(capnp::Text::Reader text) {
    return {text.begin(), text.size()};
}

std::string errorTextOf(capnp::Text::Reader text) {
    return std::string(shortened({text.begin(), text.size()}));
}

core::ErrorKind errorKindOf(std::uint16_t kind) noexcept {
    return kind <= static_cast<std::uint16_t>(core::ErrorKind::Withdrawn) ? static_cast<core::ErrorKind>(kind)
                                                                          : core::ErrorKind::Remote;
}

} // namespace agent::spf::transport::wire
