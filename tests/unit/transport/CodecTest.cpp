#include "RawPeer.h"
#include "records/AccessToken.h"
#include "records/LoginData.h"
#include "records/Negotiation.h"
#include "records/NotifierUuid.h"
#include "runtime/core/ExportedCallback.h"
#include "wire/PayloadCodec.h"

#include <boost/optional.hpp>
#include <gtest/gtest.h>

namespace transport_test {

using namespace agent::spf;

namespace {

login::LoginInfo sampleInfo() {
    // Unpaired surrogates, embedded zeros and bytes that are no UTF-8 must all arrive.
    return {u"u\xd800id",
            std::u16string(u"a\0b", 3),
            u"given",
            u"",
            std::string("\xff\0z", 3),
            u"e@x",
            static_cast<login::LoginInfo::Level>(-17),
            0x7fffffff};
}

core::GenericPayload samplePayload() {
    const auto id = login::detail::parseUuid("01234567-89ab-cdef-fedc-ba9876543210");
    login::detail::LoginData data;
    data.refreshToken = "refresh";
    data.deviceId = "device";
    data.info = sampleInfo();
    data.sourceId = std::string(3, '\0');
    data.rememberMe = true;
    auto payload = core::GenericPayload::of(
        true, -5, 0xffffffffU, std::string("text\0\xfe", 6), std::u16string(u"\xdfff!"), id, sampleInfo(),
        data, login::NegotiationTerms{9}, login::NegotiatorResponse{login::Negotiator::Position::Ask, u"why"},
        login::detail::NegotiationsResult{true, {u"one", u""}, {u"two"}},
        login::RequestAccessTokenResponse{login::AccessToken("token"), -3},
        boost::optional<login::LoginInfo>(), boost::optional<login::LoginInfo>(sampleInfo()),
        core::ExportedCallback(id, "{descriptor", 3U), core::ExportedCallback(id, "{descriptor"));
    payload.addEmptySlot();
    payload.addSlot(std::make_shared<int>(4), typeid(int), core::GenericPayload::cloner_helper<int>(), true);
    return payload;
}

std::vector<std::byte> sampleFrame() {
    return frame(
        [](wire::Message::Builder message) { wire::fillReply(message.initReply(), 7, samplePayload()); });
}

template <class T>
void expectSame(const core::GenericPayload& sent, const core::GenericPayload& got, std::size_t slot) {
    EXPECT_EQ(got.get<T>(slot), sent.get<T>(slot)) << "slot " << slot;
}

/// Whatever the bytes are, reading them gives a value or one of the two errors.
bool readable(const std::vector<std::byte>& bytes, const transport::Limits& limits = {}) {
    wire::FrameBuffer buffer(limits.frameBytes);
    for (std::size_t at = 0; at < bytes.size();) {
        const auto room = buffer.prepare();
        const auto count = std::min(room.size(), bytes.size() - at);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
        buffer.commit(count);
        at += count;
        try {
            while (const auto body = buffer.next()) {
                wire::FrameReader reader(*body, limits);
                if (reader.message().isReply() && reader.message().getReply().isPayload())
                    wire::decodePayload(reader.message().getReply().getPayload(), limits.slots);
                return true;
            }
        } catch (const core::MalformedError&) {
            return false;
        } catch (const kj::Exception&) {
            return false;
        }
    }
    return false;
}

} // namespace

TEST(Codec, CarriesEveryTypeUnchanged) {
    const auto sent = samplePayload();
    wire::FrameBuffer buffer(1 << 20);
    const auto bytes = sampleFrame();
    std::copy(bytes.begin(), bytes.end(), buffer.prepare().begin());
    buffer.commit(bytes.size());
    wire::FrameReader reader(*buffer.next(), {});
    const auto got = wire::decodePayload(reader.message().getReply().getPayload(), 64);

    ASSERT_EQ(got.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(got.type(i), sent.type(i));
        EXPECT_EQ(got.isPolymorphic(i), sent.isPolymorphic(i));
    }
    expectSame<bool>(sent, got, 0);
    expectSame<int>(sent, got, 1);
    expectSame<unsigned int>(sent, got, 2);
    expectSame<std::string>(sent, got, 3);
    expectSame<std::u16string>(sent, got, 4);
    expectSame<boost::uuids::uuid>(sent, got, 5);
    expectSame<login::LoginInfo>(sent, got, 6);
    expectSame<login::detail::LoginData>(sent, got, 7);
    expectSame<login::NegotiationTerms>(sent, got, 8);
    expectSame<login::NegotiatorResponse>(sent, got, 9);
    expectSame<login::detail::NegotiationsResult>(sent, got, 10);
    EXPECT_TRUE(got.get<login::RequestAccessTokenResponse>(11) ==
                sent.get<login::RequestAccessTokenResponse>(11));
    EXPECT_FALSE(got.get<boost::optional<login::LoginInfo>>(12));
    EXPECT_EQ(*got.get<boost::optional<login::LoginInfo>>(13), sampleInfo());
    expectSame<core::ExportedCallback>(sent, got, 14);
    expectSame<core::ExportedCallback>(sent, got, 15);
    EXPECT_TRUE(got.isEmptySlot(16));
    expectSame<int>(sent, got, 17);
}

TEST(Codec, BrokenFramesNeverHarm) {
    const auto good = sampleFrame();
    ASSERT_TRUE(readable(good));
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(readable({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}));
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
        auto bad = good;
        bad[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
        readable(bad);
    }
}

TEST(Codec, LimitsAreKept) {
    EXPECT_FALSE(readable(sampleFrame(), {.nesting = 2}));
    EXPECT_FALSE(readable(sampleFrame(), {.slots = 17}));
    EXPECT_TRUE(readable(sampleFrame(), {.slots = 18}));
    EXPECT_FALSE(readable(sampleFrame(), {.frameBytes = sampleFrame().size() - 16}));
    // One list that many slots point at must not be copied out without end.
    const auto bomb = frame([](wire::Message::Builder message) {
        auto slots = message.initReply().initPayload(64);
        for (auto slot : slots)
            slot.initU16string(60'000);
    });
    EXPECT_FALSE(readable(bomb));
}

TEST(Codec, AnUnknownTypeIsRefusedByName) {
    wire::FrameBuilder builder;
    try {
        wire::fillReply(builder.message().initReply(), 1, core::GenericPayload::of(true, 1.5));
        FAIL();
    } catch (const core::RefusedError& error) {
        EXPECT_STREQ(error.what(), "Slot 1 holds a value of the type double, which cannot be sent");
    }
}

TEST(FrameBuffer, GivesFramesWholeHoweverTheyCome) {
    // Frames around the buffer's usual size, in pieces of every kind; the contents tell them apart.
    std::vector<std::byte> stream;
    const std::vector<std::size_t> sizes{8, 65536, 16, 65528, 400'000, 8, 24, 131'072};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        stream.resize(stream.size() + 8);
        wire::FrameBuffer::writeHeader(stream.data() + stream.size() - 8,
                                       static_cast<std::uint32_t>(sizes[i]));
        stream.insert(stream.end(), sizes[i], static_cast<std::byte>(i));
    }
    for (const std::size_t piece : {std::size_t{1}, std::size_t{4097}, stream.size()}) {
        wire::FrameBuffer buffer(1 << 20);
        std::size_t frames = 0;
        for (std::size_t at = 0; at < stream.size();) {
            const auto room = buffer.prepare();
            ASSERT_FALSE(room.empty());
            const auto count = std::min({piece, room.size(), stream.size() - at});
            std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
            buffer.commit(count);
            at += count;
            while (const auto body = buffer.next()) {
                ASSERT_LT(frames, sizes.size());
                ASSERT_EQ(body->size_bytes(), sizes[frames]);
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(body->data()) % 8, 0U);
                ASSERT_EQ(std::as_bytes(*body).front(), static_cast<std::byte>(frames));
                ASSERT_EQ(std::as_bytes(*body).back(), static_cast<std::byte>(frames));
                ++frames;
            }
        }
        EXPECT_EQ(frames, sizes.size());
    }
}

} // namespace transport_test
