// Writes one small seed per kind of message:  fuzz_seeds DIRECTORY

#include "tests/support/SamplePayload.h"
#include "transport/wire/Frame.h"
#include "transport/wire/FrameBuffer.h"
#include "transport/wire/PayloadCodec.h"
#include "transport/wire/Protocol.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

namespace {

using namespace agent::spf;
using namespace agent::spf::transport;

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
    seed([](auto message) { wire::fillReply(message.initReply(), 1, {}); });
    seed([](auto message) { wire::fillReply(message.initReply(), 1, core::GenericPayload::of(true, -1)); });
    seed([](auto message) { wire::fillReply(message.initReply(), 1, zelkor::test::samplePayload()); });
    seed([](auto message) { wire::fillError(message.initReply(), 1, core::ErrorKind::Refused, "no"); });
    seed([](auto message) { message.initHello().setClientId("client"); });
    seed([](auto message) { message.initWelcome().initServices(2)[1].setName("service"); });
    seed([](auto message) { message.initCall().initTexts().setName("method"); });
    seed([](auto message) { message.initCallback().initPayload(1); });
    seed([](auto message) { message.initGoodbye().setText("bye"); });
    return 0;
}
