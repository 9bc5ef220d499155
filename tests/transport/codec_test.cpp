#include "Fixture.h"
#include "RawPeer.h"
#include "tests/support/SamplePayload.h"
#include "transport/wire/PayloadCodec.h"

namespace transport_test {

namespace {

Bytes sampleFrame() {
    return frame([](auto message) { wire::fillReply(message.initReply(), 7, samplePayload()); });
}

template <class T>
void expectSame(const GenericPayload& sent, const GenericPayload& got, std::size_t slot) {
    EXPECT_TRUE(got.get<T>(slot) == sent.get<T>(slot)) << "slot " << slot;
}

template <class... Types, std::size_t... slots>
void expectAllSame(const GenericPayload& sent, const GenericPayload& got, std::index_sequence<slots...>) {
    (expectSame<Types>(sent, got, slots), ...);
}

/// Gives the bytes in pieces to a buffer and calls `visit` with each frame.
void feed(const Bytes& bytes, std::size_t piece, std::size_t limit,
          const std::function<void(std::span<const std::uint64_t>)>& visit) {
    wire::FrameBuffer buffer(limit);
    for (std::span rest(bytes); !rest.empty();) {
        const auto room = buffer.prepare();
        ASSERT_FALSE(room.empty());
        const auto count = std::min({piece, room.size(), rest.size()});
        std::copy_n(rest.begin(), count, room.begin());
        buffer.commit(count);
        rest = rest.subspan(count);
        while (const auto body = buffer.next())
            visit(*body);
    }
}

/// Whatever the bytes are, reading them gives a value or one of the two errors.
std::optional<GenericPayload> payloadIn(const Bytes& bytes, const transport::Limits& limits = {}) {
    std::optional<GenericPayload> got;
    try {
        feed(bytes, bytes.size(), limits.frameBytes, [&](auto body) {
            wire::FrameReader reader(body, limits);
            if (reader.message().isReply() && reader.message().getReply().isPayload())
                got = wire::decodePayload(reader.message().getReply().getPayload(), limits.slots);
        });
        return got;
    } catch (const core::MalformedError&) {
    } catch (const kj::Exception&) {
    }
    return {};
}

} // namespace

TEST(Codec, CarriesEveryTypeUnchanged) {
    const auto sent = samplePayload();
    const auto got = payloadIn(sampleFrame()).value();
    ASSERT_EQ(got.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(got.type(i), sent.type(i));
        EXPECT_EQ(got.isPolymorphic(i), sent.isPolymorphic(i));
    }
    expectAllSame<bool, int, unsigned, std::string, std::u16string, boost::uuids::uuid, login::LoginInfo,
                  login::detail::LoginData, login::NegotiationTerms, login::NegotiatorResponse,
                  login::detail::NegotiationsResult, login::RequestAccessTokenResponse,
                  boost::optional<login::LoginInfo>, boost::optional<login::LoginInfo>,
                  core::ExportedCallback, core::ExportedCallback>(sent, got, std::make_index_sequence<16>());
    EXPECT_TRUE(got.isEmptySlot(16));
    expectSame<int>(sent, got, 17);
}

TEST(Codec, BrokenFramesNeverHarm) {
    const auto good = sampleFrame();
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(payloadIn({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}));
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
        auto bad = good;
        bad[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
        payloadIn(bad);
    }
}

TEST(Codec, LimitsAreKept) {
    EXPECT_FALSE(payloadIn(sampleFrame(), {.nesting = 2}));
    EXPECT_FALSE(payloadIn(sampleFrame(), {.slots = 17}));
    EXPECT_TRUE(payloadIn(sampleFrame(), {.slots = 18}));
    EXPECT_FALSE(payloadIn(sampleFrame(), {.frameBytes = sampleFrame().size() - 16}));
    EXPECT_FALSE(
        payloadIn(frame([](auto message) { message.initReply().initPayload(1)[0].initU16string(3); })));
    // One list that many slots point at must not be copied out without end.
    const auto bomb = frame([](auto message) {
        for (auto slot : message.initReply().initPayload(64))
            slot.initU16string(60'000);
    });
    EXPECT_FALSE(payloadIn(bomb));
}

TEST(FrameBuffer, GivesFramesWholeHoweverTheyCome) {
    // Frames around the buffer's usual size, in pieces of every kind; the contents tell them apart.
    Bytes stream;
    const std::vector<std::size_t> sizes{8, 65536, 16, 65528, 400'000, 8, 24, 131'072};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        stream.resize(stream.size() + 8);
        wire::FrameBuffer::writeHeader(stream.data() + stream.size() - 8,
                                       static_cast<std::uint32_t>(sizes[i]));
        stream.insert(stream.end(), sizes[i], static_cast<std::byte>(i));
    }
    for (const std::size_t piece : {std::size_t{1}, std::size_t{4097}, stream.size()}) {
        std::size_t frames = 0;
        feed(stream, piece, 1 << 20, [&](auto body) {
            ASSERT_LT(frames, sizes.size());
            EXPECT_EQ(body.size_bytes(), sizes[frames]);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(body.data()) % 8, 0U);
            EXPECT_EQ(std::as_bytes(body).front(), static_cast<std::byte>(frames));
            EXPECT_EQ(std::as_bytes(body).back(), static_cast<std::byte>(frames));
            ++frames;
        });
        EXPECT_EQ(frames, sizes.size());
    }
}

} // namespace transport_test
