#include "contract/records/NotifierId.h"
#include "contract/records/Utf.h"
#include "tests/support/People.h"
#include "tests/support/Testing.h"

#include <boost/uuid/uuid_hash.hpp>

#include <unordered_set>

namespace {

using namespace zelkor::test;

TEST(LoginInfo, StreamsAsOneLineOfUtf8) {
    auto zoe = person(u"u-1", login::LoginInfo::Level::Confirmed);
    zoe.displayName = u"Zo\u00eb \U0001F680";
    EXPECT_EQ(PrintToString(zoe), "LoginInfo{user: \"u-1\", name: \"Zoë 🚀\", level: 3}");
    EXPECT_EQ(login::toUtf16(login::toUtf8(u"x\xd800")), u"x\ufffd"); // an unpaired surrogate does not throw
}

TEST(LoginData, MoveLeavesTheDeviceIdBehindAndTheStringsEmpty) {
    const auto filled = [] {
        auto data = dataOf(sampleInfo());
        data.info.familyName = u"\u5c71\u7530";
        data.info.givenName = u"Zo\u00eb, long enough to live on the heap";
        data.deviceId = "device";
        data.accountHint = data.endpoint = data.sourceId = "text";
        return data;
    };
    login::detail::LoginData leftover;
    leftover.deviceId = "device";
    leftover.info.level = sampleInfo().level;
    leftover.info.accountType = sampleInfo().accountType;

    auto first = filled(), second = filled();
    const auto constructed(std::move(first));
    login::detail::LoginData assigned;
    assigned = std::move(second);
    EXPECT_EQ(constructed, filled());
    EXPECT_EQ(assigned, filled());
    for (auto* source : {&first, &second}) {
        source->rememberMe = false;
        EXPECT_EQ(*source, leftover);
    }
}

using ListenerId = login::NotifierId<void()>;

TEST(NotifierId, CreatesDistinctRandomUuidsOfVersion4) {
    std::unordered_set<ListenerId, ListenerId::Hasher> ids;
    for (int i = 0; i < 1000; ++i) {
        const auto id = ListenerId::create();
        EXPECT_FALSE(id.isEmpty());
        EXPECT_EQ(id.getValue().version(), boost::uuids::uuid::version_random_number_based);
        EXPECT_EQ(id.getValue().variant(), boost::uuids::uuid::variant_rfc_4122);
        EXPECT_EQ(ListenerId::parse(id.toString()), id);
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 1000u);
}

TEST(NotifierId, TextForms) {
    EXPECT_TRUE(ListenerId().isEmpty());
    EXPECT_EQ(ListenerId().toString(), "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(ListenerId::parse("01234567-89AB-cdef-0123-456789abcdef").toString(),
              "01234567-89ab-cdef-0123-456789abcdef");
    for (const char* malformed :
         {"", "01234567-89ab-cdef-0123-456789abcde", "01234567-89ab-cdef-0123-456789abcdeg", "zelkor"})
        EXPECT_THAT([&] { ListenerId::parse(malformed); },
                    ThrowsMessage<std::runtime_error>("invalid uuid string"));
}

TEST(NotifierId, HashIsTheDocumentedFold) {
    // Computed by hand-written code in another language, so that both cannot drift together.
    EXPECT_EQ(ListenerId::Hasher()(ListenerId()), 0xf3b95195c79f012fu);
    const auto id = ListenerId::parse("01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_EQ(ListenerId::Hasher()(id), 0x95f44397c154d23u);
    EXPECT_EQ(ListenerId::Hasher()(id), boost::uuids::hash_value(id.getValue()));
}

} // namespace
