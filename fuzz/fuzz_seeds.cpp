// Writes one small seed per kind of message and per type of slot:  fuzz_seeds DIRECTORY

#include "records/AccessToken.h"
#include "records/LoginData.h"
#include "records/Negotiation.h"
#include "records/NotifierUuid.h"
#include "runtime/core/ExportedCallback.h"
#include "wire/Frame.h"
#include "wire/FrameBuffer.h"
#include "wire/PayloadCodec.h"
#include "wire/Protocol.h"

#include <boost/optional.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace agent::spf;
using namespace agent::spf::transport;

std::vector<core::GenericPayload> payloads() {
    login::LoginInfo info;
    info.userId = u"user";
    info.locale = "en";
    login::detail::LoginData data;
    data.info = info;
    data.refreshToken = "r";
    core::GenericPayload empty;
    empty.addEmptySlot();
    const auto of = [](auto... values) { return core::GenericPayload::of(values...); };
    return {core::GenericPayload(),
            empty,
            of(true, -1, 7U),
            of(std::string("text"), std::u16string(u"text")),
            of(login::detail::createUuid()),
            of(info),
            of(data),
            of(login::NegotiationTerms{1}),
            of(login::NegotiatorResponse{login::Negotiator::Position::Ask, u"why"}),
            of(login::detail::NegotiationsResult{true, {u"one"}, {u"two", u"three"}}),
            of(login::RequestAccessTokenResponse{login::AccessToken("t"), 1}),
            of(boost::optional<login::LoginInfo>(), boost::optional<login::LoginInfo>(info)),
            of(core::ExportedCallback(login::detail::createUuid(), "{}", 2U))};
}

void write(const std::filesystem::path& path, const char* data, std::size_t size) {
    std::ofstream(path, std::ios::binary).write(data, static_cast<std::streamsize>(size));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: fuzz_seeds DIRECTORY\n", stderr);
        return 2;
    }
    const std::filesystem::path directory = argv[1];
    std::filesystem::create_directories(directory / "frame_reader");
    std::filesystem::create_directories(directory / "payload");
    int count = 0;
    const auto seed = [&](const std::function<void(wire::Message::Builder)>& fill) {
        wire::FrameBuilder builder;
        fill(builder.message());
        std::vector<std::byte> bytes(1); // in one piece
        builder.appendTo(bytes);
        const auto name = std::to_string(count++);
        const char* start = reinterpret_cast<const char*>(bytes.data());
        write(directory / "frame_reader" / name, start, bytes.size());
        write(directory / "payload" / name, start + 1 + wire::FrameBuffer::headerBytes,
              bytes.size() - 1 - wire::FrameBuffer::headerBytes);
    };
    for (const auto& payload : payloads())
        seed([&](auto message) { wire::fillReply(message.initReply(), 1, payload); });
    seed([](auto message) { wire::fillError(message.initReply(), 1, core::ErrorKind::Refused, "no"); });
    seed([](auto message) { message.initHello().setClientId("client"); });
    seed([](auto message) { message.initWelcome().initServices(2)[1].setName("service"); });
    seed([](auto message) { message.initCall().setMethod("method"); });
    seed([](auto message) { message.initCallback().initPayload(1); });
    seed([](auto message) { message.initGoodbye().setText("bye"); });
    return 0;
}
