// A message body, without frame: what can be read as a payload can be written, and reads the same again.

#include "contract/calls/Errors.h"
#include "contract/records/AccessToken.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"
#include "transport/wire/Frame.h"
#include "transport/wire/PayloadCodec.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

namespace {

using namespace agent::spf;
using namespace agent::spf::transport;

const Limits limits;

std::optional<core::GenericPayload> payloadIn(std::span<const std::uint64_t> body) {
    try {
        wire::FrameReader reader(body, limits);
        const auto message = reader.message();
        if (message.isReply() && message.getReply().isPayload())
            return wire::decodePayload(message.getReply().getPayload(), limits.slots);
    } catch (const kj::Exception&) {
    } catch (const core::MalformedError&) {
    }
    return std::nullopt;
}

std::vector<std::uint64_t> bodyOf(const core::GenericPayload& payload) {
    wire::FrameBuilder builder;
    wire::fillReply(builder.message().initReply(), 1, payload);
    std::vector<std::byte> bytes;
    builder.appendTo(bytes);
    std::vector<std::uint64_t> body((bytes.size() - 8) / 8);
    std::memcpy(body.data(), bytes.data() + 8, bytes.size() - 8);
    return body;
}

/// A caller that asked for a T gets what the payload holds, or is told that it is something else.
template <class T>
void expectResult(std::span<const std::uint64_t> body, const core::GenericPayload& payload) {
    wire::FrameReader reader(body, limits);
    T result{};
    const bool asked = payload.size() == 1 && payload.type(0) == typeid(T) && !payload.isPolymorphic(0);
    if (wire::decodeResult(reader.message().getReply().getPayload(), core::ResultRef(result)) != asked ||
        (asked && !(result == payload.get<T>(0))))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint64_t> body(size / 8);
    if (body.empty())
        return 0;
    std::memcpy(body.data(), data, body.size() * 8);
    const auto first = payloadIn(body);
    if (!first)
        return 0;
    const auto written = bodyOf(*first);
    const auto second = payloadIn(written);
    // Written once, a payload has one form only.
    if (!second || second->size() != first->size() || bodyOf(*second) != written)
        std::abort();
    for (std::size_t i = 0; i < first->size(); ++i)
        if (first->type(i) != second->type(i) || first->isPolymorphic(i) != second->isPolymorphic(i))
            std::abort();
    expectResult<std::u16string>(written, *second);
    expectResult<login::LoginInfo>(written, *second);
    expectResult<login::detail::NegotiationsResult>(written, *second);
    expectResult<login::RequestAccessTokenResponse>(written, *second);
    return 0;
}
