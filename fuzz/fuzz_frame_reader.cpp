// Bytes as they come from a peer: cut into frames, read as messages. The first byte says in what pieces they
// come.

#include "runtime/core/Errors.h"
#include "wire/Frame.h"
#include "wire/FrameBuffer.h"
#include "wire/PayloadCodec.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace {

using namespace agent::spf::transport;

void visit(wire::Message::Reader message, const Limits& limits) {
    switch (message.which()) {
    case wire::Message::HELLO:
        wire::textOf(message.getHello().getClientId());
        break;
    case wire::Message::WELCOME:
        for (const auto service : message.getWelcome().getServices())
            wire::textOf(service.getName());
        break;
    case wire::Message::CALL:
        wire::textOf(message.getCall().getMethod());
        wire::textOf(message.getCall().getDescriptor());
        wire::decodePayload(message.getCall().getPayload(), limits.slots);
        break;
    case wire::Message::REPLY:
        if (message.getReply().isError())
            wire::textOf(message.getReply().getError().getText());
        else
            wire::decodePayload(message.getReply().getPayload(), limits.slots);
        break;
    case wire::Message::CALLBACK:
        wire::decodePayload(message.getCallback().getPayload(), limits.slots);
        break;
    case wire::Message::CALLBACK_REPLY:
        wire::decodePayload(message.getCallbackReply().getPayload(), limits.slots);
        break;
    case wire::Message::GOODBYE:
        wire::textOf(message.getGoodbye().getText());
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::size_t piece = data[0] == 0 ? size : data[0];
    std::span rest(reinterpret_cast<const std::byte*>(data) + 1, size - 1);
    const Limits limits;
    wire::FrameBuffer buffer(limits.frameBytes);
    try {
        while (!rest.empty()) {
            const auto room = buffer.prepare();
            const auto count = std::min({piece, room.size(), rest.size()});
            std::copy_n(rest.begin(), count, room.begin());
            buffer.commit(count);
            rest = rest.subspan(count);
            while (const auto body = buffer.next()) {
                try {
                    visit(wire::FrameReader(*body, limits).message(), limits);
                } catch (const kj::Exception&) {
                    // One broken message does not keep the fuzzer from the next.
                } catch (const agent::spf::core::MalformedError&) {
                }
            }
        }
    } catch (const agent::spf::core::MalformedError&) {
        // No frame: the connection would be closed.
    }
    return 0;
}
