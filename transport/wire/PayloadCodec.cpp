#include "transport/wire/PayloadCodec.h"

#include "contract/calls/Errors.h"
#include "contract/calls/ExportedCallback.h"
#include "contract/records/AccessToken.h"
#include "contract/records/LoginData.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"

#include <boost/core/demangle.hpp>
#include <boost/endian/conversion.hpp>
#include <boost/optional.hpp>

#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace agent::spf::transport::wire {

namespace {

static_assert(std::endian::native == std::endian::little, "UTF-16 travels as it lies in memory");

using Utf16 = capnp::Data;
using Utf16s = capnp::List<Utf16, capnp::Kind::BLOB>;

capnp::Data::Reader bytesOf(std::string_view text) {
    return {reinterpret_cast<const kj::byte*>(text.data()), text.size()};
}

capnp::Data::Reader bytesOf(std::u16string_view text) {
    return {reinterpret_cast<const kj::byte*>(text.data()), text.size() * sizeof(char16_t)};
}

std::string stringOf(capnp::Data::Reader data) {
    return {reinterpret_cast<const char*>(data.begin()), data.size()};
}

std::u16string read16(Utf16::Reader units) {
    if (units.size() % sizeof(char16_t) != 0)
        throw core::MalformedError("A UTF-16 text has half a unit at its end");
    std::u16string text(units.size() / sizeof(char16_t), u'\0');
    if (!text.empty())
        std::memcpy(text.data(), units.begin(), units.size());
    return text;
}

void write16s(const std::vector<std::u16string>& texts, Utf16s::Builder lists) {
    for (unsigned i = 0; i < lists.size(); ++i)
        lists.set(i, bytesOf(texts[i]));
}

std::vector<std::u16string> read16s(Utf16s::Reader lists) {
    std::vector<std::u16string> texts;
    texts.reserve(lists.size());
    for (const auto units : lists)
        texts.push_back(read16(units));
    return texts;
}

void write(const login::LoginInfo& info, LoginInfo::Builder to) {
    to.setLevel(static_cast<std::int32_t>(info.level));
    to.setAccountType(info.accountType);
    to.setUserId(bytesOf(info.userId));
    to.setDisplayName(bytesOf(info.displayName));
    to.setGivenName(bytesOf(info.givenName));
    to.setFamilyName(bytesOf(info.familyName));
    to.setLocale(bytesOf(info.locale));
    to.setEmail(bytesOf(info.email));
}

login::LoginInfo read(LoginInfo::Reader from) {
    login::LoginInfo info;
    info.level = static_cast<login::LoginInfo::Level>(from.getLevel());
    info.accountType = from.getAccountType();
    info.userId = read16(from.getUserId());
    info.displayName = read16(from.getDisplayName());
    info.givenName = read16(from.getGivenName());
    info.familyName = read16(from.getFamilyName());
    info.locale = stringOf(from.getLocale());
    info.email = read16(from.getEmail());
    return info;
}

void write(const login::detail::LoginData& data, LoginData::Builder to) {
    to.setRememberMe(data.rememberMe);
    to.setRefreshToken(bytesOf(data.refreshToken));
    to.setDeviceId(bytesOf(data.deviceId));
    to.setAccountHint(bytesOf(data.accountHint));
    write(data.info, to.initInfo());
    to.setEndpoint(bytesOf(data.endpoint));
    to.setSourceId(bytesOf(data.sourceId));
}

login::detail::LoginData read(LoginData::Reader from) {
    login::detail::LoginData data;
    data.rememberMe = from.getRememberMe();
    data.refreshToken = stringOf(from.getRefreshToken());
    data.deviceId = stringOf(from.getDeviceId());
    data.accountHint = stringOf(from.getAccountHint());
    data.info = read(from.getInfo());
    data.endpoint = stringOf(from.getEndpoint());
    data.sourceId = stringOf(from.getSourceId());
    return data;
}

void write(const login::detail::NegotiationsResult& result, NegotiationsResult::Builder to) {
    to.setAccepted(result.accepted);
    write16s(result.objections, to.initObjections(static_cast<unsigned>(result.objections.size())));
    write16s(result.questions, to.initQuestions(static_cast<unsigned>(result.questions.size())));
}

login::detail::NegotiationsResult read(NegotiationsResult::Reader from) {
    return {from.getAccepted(), read16s(from.getObjections()), read16s(from.getQuestions())};
}

void write(const core::ExportedCallback& callback, ExportedCallback::Builder to) {
    encodeUuid(callback.getCallbackID(), to.initId());
    to.setDescriptor({callback.descriptor().data(), callback.descriptor().size()});
    to.setLimited(callback.callLimit().has_value());
    to.setCallLimit(callback.callLimit().value_or(0));
}

core::ExportedCallback read(ExportedCallback::Reader from) {
    std::optional<unsigned int> limit;
    if (from.getLimited())
        limit = from.getCallLimit();
    const auto descriptor = from.getDescriptor();
    return {decodeUuid(from.getId()), std::string(descriptor.begin(), descriptor.size()), limit};
}

using Encoder = void (*)(const void*, Slot::Builder);

template <class T, auto Write>
std::pair<const std::type_index, Encoder> row() {
    return {typeid(T),
            [](const void* value, Slot::Builder slot) { Write(*static_cast<const T*>(value), slot); }};
}

// One row for each type that can be sent. Its place in the union is read again in addSlot().
const std::unordered_map<std::type_index, Encoder>& encoders() {
    static const std::unordered_map<std::type_index, Encoder> table{
        row<bool, [](bool value, Slot::Builder slot) { slot.setBoolean(value); }>(),
        row<int, [](int value, Slot::Builder slot) { slot.setInt32(value); }>(),
        row<unsigned int, [](unsigned int value, Slot::Builder slot) { slot.setUint32(value); }>(),
        row<std::string,
            [](const std::string& value, Slot::Builder slot) { slot.setString(bytesOf(value)); }>(),
        row<std::u16string,
            [](const std::u16string& value, Slot::Builder slot) { slot.setU16string(bytesOf(value)); }>(),
        row<boost::uuids::uuid, [](const boost::uuids::uuid& value,
                                   Slot::Builder slot) { encodeUuid(value, slot.initUuid()); }>(),
        row<login::LoginInfo,
            [](const login::LoginInfo& value, Slot::Builder slot) { write(value, slot.initLoginInfo()); }>(),
        row<login::detail::LoginData, [](const login::detail::LoginData& value,
                                         Slot::Builder slot) { write(value, slot.initLoginData()); }>(),
        row<login::NegotiationTerms, [](login::NegotiationTerms value,
                                        Slot::Builder slot) { slot.setNegotiationTerms(value.value); }>(),
        row<login::NegotiatorResponse,
            [](const login::NegotiatorResponse& value, Slot::Builder slot) {
                auto to = slot.initNegotiatorResponse();
                to.setDecision(static_cast<std::int32_t>(value.decision));
                to.setMessage(bytesOf(value.message));
            }>(),
        row<login::detail::NegotiationsResult,
            [](const login::detail::NegotiationsResult& value, Slot::Builder slot) {
                write(value, slot.initNegotiationsResult());
            }>(),
        row<login::RequestAccessTokenResponse,
            [](const login::RequestAccessTokenResponse& value, Slot::Builder slot) {
                auto to = slot.initAccessTokenResponse();
                to.setStatus(value.status);
                to.setToken(bytesOf(value.token.getTokenString()));
            }>(),
        row<boost::optional<login::LoginInfo>,
            [](const boost::optional<login::LoginInfo>& value, Slot::Builder slot) {
                if (value)
                    write(*value, slot.initSomeLoginInfo());
                else
                    slot.setNoLoginInfo();
            }>(),
        row<core::ExportedCallback, [](const core::ExportedCallback& value,
                                       Slot::Builder slot) { write(value, slot.initExportedCallback()); }>(),
    };
    return table;
}

void encodeSlot(unsigned index, const std::type_info& type, const void* value, Slot::Builder slot) {
    const auto encoder = encoders().find(type);
    if (encoder == encoders().end())
        throw core::RefusedError("Slot " + std::to_string(index) + " holds a value of the type " +
                                 boost::core::demangle(type.name()) + ", which cannot be sent");
    encoder->second(value, slot);
}

/// Gives the slot's value to `put`. Whether there is one, of a known kind.
template <class Put>
bool readValue(Slot::Reader slot, const Put& put) {
    switch (slot.which()) {
    case Slot::EMPTY:
        return false;
    case Slot::BOOLEAN:
        put(slot.getBoolean());
        return true;
    case Slot::INT32:
        put(int{slot.getInt32()});
        return true;
    case Slot::UINT32:
        put(static_cast<unsigned int>(slot.getUint32()));
        return true;
    case Slot::STRING:
        put(stringOf(slot.getString()));
        return true;
    case Slot::U16STRING:
        put(read16(slot.getU16string()));
        return true;
    case Slot::UUID:
        put(decodeUuid(slot.getUuid()));
        return true;
    case Slot::LOGIN_INFO:
        put(read(slot.getLoginInfo()));
        return true;
    case Slot::LOGIN_DATA:
        put(read(slot.getLoginData()));
        return true;
    case Slot::NEGOTIATION_TERMS:
        put(login::NegotiationTerms{slot.getNegotiationTerms()});
        return true;
    case Slot::NEGOTIATOR_RESPONSE: {
        const auto from = slot.getNegotiatorResponse();
        put(login::NegotiatorResponse{static_cast<login::Negotiator::Position>(from.getDecision()),
                                      read16(from.getMessage())});
        return true;
    }
    case Slot::NEGOTIATIONS_RESULT:
        put(read(slot.getNegotiationsResult()));
        return true;
    case Slot::ACCESS_TOKEN_RESPONSE: {
        const auto from = slot.getAccessTokenResponse();
        put(login::RequestAccessTokenResponse{login::AccessToken(stringOf(from.getToken())),
                                              from.getStatus()});
        return true;
    }
    case Slot::NO_LOGIN_INFO:
        put(boost::optional<login::LoginInfo>());
        return true;
    case Slot::SOME_LOGIN_INFO:
        put(boost::optional<login::LoginInfo>(read(slot.getSomeLoginInfo())));
        return true;
    case Slot::EXPORTED_CALLBACK:
        put(read(slot.getExportedCallback()));
        return true;
    }
    return false;
}

} // namespace

void encodePayload(const core::GenericPayload& payload, SlotList::Builder slots) {
    for (unsigned i = 0; i < slots.size(); ++i) {
        auto slot = slots[i];
        if (payload.isPolymorphic(i))
            slot.setPolymorphic(true);
        if (!payload.isEmptySlot(i))
            encodeSlot(i, payload.type(i), payload.value(i), slot);
    }
}

void encodePayload(std::span<const core::ArgumentRef> arguments, SlotList::Builder slots) {
    for (unsigned i = 0; i < slots.size(); ++i)
        encodeSlot(i, arguments[i].type(), arguments[i].value(), slots[i]);
}

core::GenericPayload decodePayload(SlotList::Reader slots, std::size_t maxSlots) {
    if (slots.size() > maxSlots)
        throw core::MalformedError("A payload of " + std::to_string(slots.size()) + " slots, the limit is " +
                                   std::to_string(maxSlots));
    core::GenericPayload payload;
    payload.reserve(slots.size());
    for (unsigned i = 0; i < slots.size(); ++i) {
        const auto slot = slots[i];
        const auto put = [&]<class T>(T value) {
            payload.addSlot(std::make_shared<T>(std::move(value)), typeid(T),
                            core::GenericPayload::cloner_helper<T>(), slot.getPolymorphic());
        };
        if (slot.isEmpty())
            payload.addEmptySlot();
        else if (!readValue(slot, put))
            throw core::MalformedError("Slot " + std::to_string(i) + " is of an unknown kind (" +
                                       std::to_string(static_cast<unsigned>(slot.which())) + ")");
    }
    return payload;
}

bool decodeResult(SlotList::Reader slots, const core::ResultRef& result) {
    if (result.value() == nullptr)
        return slots.size() == 0;
    if (slots.size() != 1 || slots[0].getPolymorphic())
        return false;
    bool asked = false;
    const auto put = [&]<class T>(T value) {
        asked = result.type() == typeid(T);
        if (asked)
            *static_cast<T*>(result.value()) = std::move(value);
    };
    return readValue(slots[0], put) && asked;
}

boost::uuids::uuid decodeUuid(Uuid::Reader uuid) noexcept {
    boost::uuids::uuid value;
    boost::endian::store_big_u64(value.begin(), uuid.getHigh());
    boost::endian::store_big_u64(value.begin() + 8, uuid.getLow());
    return value;
}

void encodeUuid(const boost::uuids::uuid& value, Uuid::Builder uuid) noexcept {
    uuid.setHigh(boost::endian::load_big_u64(value.begin()));
    uuid.setLow(boost::endian::load_big_u64(value.begin() + 8));
}

} // namespace agent::spf::transport::wire
