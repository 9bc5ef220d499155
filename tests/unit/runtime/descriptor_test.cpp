// Golden text for g++, the compiler that ships; clang names a few of the types differently.

#include "records/AccessToken.h"
#include "runtime/core/ExportedCallback.h"
#include "runtime/core/SignatureDescriptor.h"

#include <boost/optional.hpp>
#include <boost/type_index/ctti_type_index.hpp>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace login;
using agent::spf::core::ExportedCallback;
using agent::spf::core::SignatureDescriptor;
namespace core = agent::spf::core;

template <class T>
void expectInstalledKey() {
    constexpr auto entry = core::detail::wireEntry<T, 3>();
    const auto type = boost::typeindex::ctti_type_index::type_id<T>();
    const std::string expected = "{\"" + std::to_string(type.hash_code()) + "\":3";
    // Alone, or followed by its members.
    EXPECT_TRUE((std::string(entry.view()) + ',').starts_with(expected + ',')) << type << entry.view();
}

template <class... Types>
void expectInstalledKeys() {
    (expectInstalledKey<Types>(), ...);
}

TEST(TypeKey, IsTheInstalledLibrarysHash) {
    expectInstalledKeys<int, unsigned int, std::u16string, boost::uuids::uuid, boost::optional<LoginInfo>,
                        LoginInfo, login::detail::LoginData, login::detail::NegotiationsResult,
                        NegotiationTerms, NegotiatorResponse, Negotiator::Position,
                        RequestAccessTokenResponse, std::tuple<LoginInfo, LoginInfo>,
                        std::tuple<const LoginInfo&, const LoginInfo&>, std::tuple<LoginInfo, std::string>,
                        ExportedCallback, core::ExportedDataSink, core::ExportedDataSource>();
}

// Keys as daemons in the field know them.
const std::string kInt = "10680592670459224981";
const std::string kUnsigned = "6463366995142835738";
const std::string kU16 = "15268734561088513142";
const std::string kInfo = "13639252417459274555";
const std::string kTerms = "6053306857377562751";
const std::string kResponse = "15749060390521362212";
const std::string kPosition = "4212195672380433802";

TEST(SignatureDescriptor, TagTypesAreClosedAndHashedTypesStayOpen) {
    EXPECT_EQ(SignatureDescriptor::of<void()>().named("clearSettings"),
              R"({"name":"clearSettings","return":{"void":0},"arguments":[]})");
    EXPECT_EQ(SignatureDescriptor::of<bool(std::string, bool, std::string)>().named("m"),
              R"({"name":"m","return":{"bool":0},"arguments":[{"string":0},{"bool":1},{"string":2},]})");
    EXPECT_EQ(SignatureDescriptor::of<LoginInfo(const std::string&, int, std::string)>().named(
                  "getLoginInfoAndLogTELX"),
              R"({"name":"getLoginInfoAndLogTELX","return":{")" + kInfo +
                  R"(":0,"arguments":[{"string":0},{")" + kInt + R"(":1,{"string":2},]})");
}

TEST(SignatureDescriptor, UnnamedHasNoNameMember) {
    const auto listener = SignatureDescriptor::of<void(const LoginInfo&, const LoginInfo&)>();
    EXPECT_EQ(listener.unnamed(),
              R"({"return":{"void":0},"arguments":[{")" + kInfo + R"(":0,{")" + kInfo + R"(":1,]})");
    EXPECT_EQ(listener.named(""), listener.unnamed());
}

TEST(SignatureDescriptor, RecordsListTheirMembersAndAreClosed) {
    EXPECT_EQ(SignatureDescriptor::of<NegotiatorResponse(const NegotiationTerms&)>().named("NAME"),
              R"({"name":"NAME","return":{")" + kResponse + R"(":0,"types":[{")" + kPosition + R"(":0,{")" +
                  kU16 + R"(":1]},"arguments":[{")" + kTerms + R"(":0,"types":[{")" + kUnsigned +
                  R"(":0]},]})");
}

} // namespace
