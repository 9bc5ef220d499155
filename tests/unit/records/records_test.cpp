#include "records/AccessToken.h"
#include "records/LoginData.h"
#include "records/LoginInfo.h"
#include "records/NotifierId.h"
#include "records/Utf.h"

#include <boost/uuid/uuid_hash.hpp>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <unordered_set>

namespace {

login::LoginInfo someone() {
    login::LoginInfo info;
    info.userId = u"u-1";
    info.displayName = u"Zo\u00eb \U0001F680";
    info.givenName = u"Zo\u00eb, long enough to live on the heap";
    info.familyName = u"\u5c71\u7530";
    info.locale = std::string("de\0\xff", 4); // bytes, not text
    info.email = u"zoe@example.test";
    info.level = login::LoginInfo::Level::Confirmed;
    info.accountType = -7;
    return info;
}

TEST(LoginInfo, CopiesEveryCodeUnitAndMovesOutOfItsStrings) {
    login::LoginInfo original = someone();
    const login::LoginInfo copy = original;
    EXPECT_EQ(copy, someone());
    const login::LoginInfo moved = std::move(original);
    EXPECT_EQ(moved, someone());
    login::LoginInfo emptied;
    emptied.level = original.level;
    emptied.accountType = original.accountType;
    EXPECT_EQ(original, emptied);
}

TEST(LoginInfo, StreamsAsOneLineOfUtf8) {
    std::ostringstream out;
    out << someone();
    EXPECT_EQ(out.str(), "LoginInfo{user: \"u-1\", name: \"Zoë 🚀\", level: 3}");
    EXPECT_EQ(login::toUtf16(login::toUtf8(u"x\xd800")), u"x\ufffd"); // an unpaired surrogate does not throw
}

TEST(LoginData, MoveLeavesTheDeviceIdBehind) {
    const auto filled = [] {
        login::detail::LoginData data;
        data.refreshToken = "refresh";
        data.deviceId = "device";
        data.accountHint = "hint";
        data.info = someone();
        data.endpoint = "endpoint";
        data.sourceId = "source";
        data.rememberMe = true;
        return data;
    };
    login::detail::LoginData leftover;
    leftover.deviceId = "device";

    auto constructedFrom = filled();
    const login::detail::LoginData constructed(std::move(constructedFrom));
    auto assignedFrom = filled();
    login::detail::LoginData assigned;
    assigned = std::move(assignedFrom);
    EXPECT_EQ(constructed, filled());
    EXPECT_EQ(assigned, filled());
    for (auto* source : {&constructedFrom, &assignedFrom}) {
        source->info = {};
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
         {"", "01234567-89ab-cdef-0123-456789abcde", "01234567-89ab-cdef-0123-456789abcdeg", "zelkor"}) {
        try {
            static_cast<void>(ListenerId::parse(malformed));
            ADD_FAILURE() << "accepted: " << malformed;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "invalid uuid string");
        }
    }
}

TEST(NotifierId, HashIsTheDocumentedFold) {
    // Computed by hand-written code in another language, so that both cannot drift together.
    EXPECT_EQ(ListenerId::Hasher()(ListenerId()), 0xf3b95195c79f012fu);
    const auto id = ListenerId::parse("01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_EQ(ListenerId::Hasher()(id), 0x95f44397c154d23u);
    EXPECT_EQ(ListenerId::Hasher()(id), boost::uuids::hash_value(id.getValue()));
}

} // namespace
