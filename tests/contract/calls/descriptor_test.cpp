// Golden text for g++, the compiler that ships; clang names a few of the types differently.

#include "contract/calls/ExportedCallback.h"
#include "contract/calls/SignatureDescriptor.h"
#include "contract/records/AccessToken.h"

#include <boost/optional.hpp>
#include <boost/type_index/ctti_type_index.hpp>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace login;
using agent::spf::core::ExportedCallback;
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

} // namespace
