#include <cppmicroservices/BundleVersion.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace cppmicroservices {
namespace {

bool IsQualifierCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

} // namespace

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion)
    : BundleVersion(majorVersion, minorVersion, microVersion, {}) {}

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion,
                             std::string qualifier)
    : major_(majorVersion), minor_(minorVersion), micro_(microVersion), qualifier_(std::move(qualifier)),
      undefined_(false) {
    if (!std::ranges::all_of(qualifier_, IsQualifierCharacter))
        throw std::invalid_argument("The qualifier '" + qualifier_ +
                                    "' of a version may hold letters, digits, '-' and '_' only.");
}

BundleVersion::BundleVersion(const std::string& version) : undefined_(version.empty()) {
    if (version.empty())
        return;
    unsigned int* const numbers[] = {&major_, &minor_, &micro_};
    std::string_view rest = version;
    for (auto* number : numbers) {
        const auto part = rest.substr(0, rest.find('.'));
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), *number);
        if (error != std::errc() || end != part.data() + part.size())
            throw std::invalid_argument("The version '" + version +
                                        "' is not written as 'major.minor.micro.qualifier', the first three "
                                        "of them numbers.");
        if (part.size() == rest.size())
            return;
        rest.remove_prefix(part.size() + 1);
    }
    *this = BundleVersion(major_, minor_, micro_, std::string(rest));
}

BundleVersion BundleVersion::ParseVersion(const std::string& version) {
    const auto first = version.find_first_not_of(' ');
    if (first == std::string::npos)
        return EmptyVersion();
    return {version.substr(first, version.find_last_not_of(' ') - first + 1)};
}

const BundleVersion& BundleVersion::Defined() const {
    if (undefined_)
        throw std::logic_error("The version is undefined; ask IsUndefined() first.");
    return *this;
}

unsigned int BundleVersion::GetMajor() const {
    return Defined().major_;
}
unsigned int BundleVersion::GetMinor() const {
    return Defined().minor_;
}
unsigned int BundleVersion::GetMicro() const {
    return Defined().micro_;
}
std::string BundleVersion::GetQualifier() const {
    return Defined().qualifier_;
}

std::string BundleVersion::ToString() const {
    if (undefined_)
        return "undefined";
    auto text = std::to_string(major_) + '.' + std::to_string(minor_) + '.' + std::to_string(micro_);
    return qualifier_.empty() ? text : text + '.' + qualifier_;
}

bool BundleVersion::operator==(const BundleVersion& other) const {
    if (undefined_ && other.undefined_)
        return true;
    Defined();
    return !other.undefined_ && Compare(other) == 0;
}

int BundleVersion::Compare(const BundleVersion& other) const {
    Defined();
    other.Defined();
    const auto numbers = std::tie(major_, minor_, micro_);
    const auto others = std::tie(other.major_, other.minor_, other.micro_);
    if (numbers != others)
        return numbers < others ? -1 : 1;
    return qualifier_.compare(other.qualifier_);
}

std::ostream& operator<<(std::ostream& os, const BundleVersion& version) {
    return os << version.ToString();
}

} // namespace cppmicroservices
