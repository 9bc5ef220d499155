// Bytes as they come from a peer: cut into frames, read as messages. The first byte says in what pieces they
// come.

#include "contract/calls/Errors.h"
#include "transport/wire/Frame.h"
#include "transport/wire/FrameBuffer.h"
#include "transport/wire/PayloadCodec.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace {

using namespace agent::spf::transport;

void visit(wire::Message::Reader message, const Limits& limits) {
    if (message.isHello())
        wire::textOf(message.getHello().getClientId());
    if (message.isWelcome())
        for (const auto service : message.getWelcome().getServices())
            wire::textOf(service.getName());
    if (message.isCall()) {
        wire::textOf(message.getCall().getTexts().getName());
        wire::textOf(message.getCall().getTexts().getDescriptor());
        wire::decodePayload(message.getCall().getPayload(), limits.slots);
    }
    if (message.isReply() && message.getReply().isError())
        wire::errorTextOf(message.getReply().getError().getText());
    if (message.isReply() && message.getReply().isPayload())
        wire::decodePayload(message.getReply().getPayload(), limits.slots);
    if (message.isCallback())
        wire::decodePayload(message.getCallback().getPayload(), limits.slots);
    if (message.isCallbackReply())
        wire::decodePayload(message.getCallbackReply().getPayload(), limits.slots);
    if (message.isGoodbye())
        wire::errorTextOf(message.getGoodbye().getText());
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
