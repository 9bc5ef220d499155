#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/calls/GenericPayload.h"
#include "contract/records/AccessToken.h"
#include "contract/records/Negotiation.h"
#include "contract/records/NotifierUuid.h"
#include "tests/support/People.h"

#include <boost/optional.hpp>

namespace zelkor::test {

/// A slot of every type that can be sent.
inline agent::spf::core::GenericPayload samplePayload() {
    using namespace agent::spf::core;
    const auto id = login::detail::parseUuid("01234567-89ab-cdef-fedc-ba9876543210");
    login::detail::LoginData data;
    data.refreshToken = "refresh";
    data.deviceId = "device";
    data.info = sampleInfo();
    data.sourceId = std::string(3, '\0');
    data.rememberMe = true;
    auto all = GenericPayload::of(
        true, -5, 0xffffffffU, std::string("text\0\xfe", 6), std::u16string(u"\xdfff!"), id, sampleInfo(),
        data, login::NegotiationTerms{9}, login::NegotiatorResponse{login::Negotiator::Position::Ask, u"why"},
        login::detail::NegotiationsResult{true, {u"one", u""}, {u"two"}},
        login::RequestAccessTokenResponse{login::AccessToken("token"), -3},
        boost::optional<login::LoginInfo>(), boost::optional<login::LoginInfo>(sampleInfo()),
        ExportedCallback(id, "{descriptor", 3U), ExportedCallback(id, "{descriptor"));
    all.addEmptySlot();
    all.addSlot(std::make_shared<int>(4), typeid(int), GenericPayload::cloner_helper<int>(), true);
    return all;
}

} // namespace zelkor::test
