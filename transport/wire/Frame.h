#pragma once

#include "contract/calls/Errors.h"
#include "contract/calls/GenericPayload.h"
#include "wire.capnp.h"

#include <agent/spf/transport/Limits.h>

#include <capnp/message.h>
#include <capnp/serialize.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace agent::spf::transport::wire {

/// One message being written. Usual messages are built on the stack. Not thread-safe.
class FrameBuilder {
public:
    FrameBuilder() = default;
    FrameBuilder(const FrameBuilder&) = delete;
    FrameBuilder& operator=(const FrameBuilder&) = delete;

    Message::Builder message() { return builder_.getRoot<Message>(); }

    /// Header and body.
    std::size_t bytes();
    void appendTo(std::vector<std::byte>& out);

private:
    // Zeroed, as the builder demands; it zeroes what it used when it goes, so no secrets stay on the stack.
    alignas(capnp::word) std::array<std::byte, 2048> scratch_{};
    capnp::MallocMessageBuilder builder_{
        kj::arrayPtr(reinterpret_cast<capnp::word*>(scratch_.data()), scratch_.size() / sizeof(capnp::word))};
};

/// One received message, read where it lies in the buffer. Accessors throw kj::Exception when the message is
/// broken.
class FrameReader {
public:
    FrameReader(std::span<const std::uint64_t> body, const Limits& limits);

    Message::Reader message() { return reader_.getRoot<Message>(); }

private:
    capnp::FlatArrayMessageReader reader_;
};

void fillMethod(Method::Builder to, std::string_view name, std::string_view descriptor);

/// Fills a reply, or the reply to a callback, with a result or an error.
/// @throws core::RefusedError when the result cannot be sent.
void fillReply(Reply::Builder reply, std::uint64_t id, const core::GenericPayload& result);
void fillError(Reply::Builder reply, std::uint64_t id, core::ErrorKind kind, std::string_view text);

/// Says why to a peer that is not, or no longer, served. What does not fit into the socket is lost.
void sendGoodbye(int socket, std::string_view text);

void setText(capnp::Text::Builder to, std::string_view text);
std::string textOf(capnp::Text::Reader text);
/// A text for people, of which the peer may have sent more than anybody reads: 16 KiB at most.
std::string errorTextOf(capnp::Text::Reader text);
core::ErrorKind errorKindOf(std::uint16_t kind) noexcept;

} // namespace agent::spf::transport::wire
