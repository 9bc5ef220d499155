#include "LdapExpression.h"
#include "ServiceAccess.h"
#include "ServiceRecord.h"
#include "Text.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/LDAPFilter.h>

#include <algorithm>

namespace cppmicroservices {

namespace {

class ExactKeys final : public detail::PropertyLookup {
public:
    explicit ExactKeys(const AnyMap& map) : map_(map) {}

    const Any* Find(const std::string& key) const override {
        const auto found = map_.find(key);
        // A map without case finds other spellings, too.
        return found == map_.end() || found->first != key ? nullptr : &found->second;
    }

private:
    const AnyMap& map_;
};

class KeysInAnyCase final : public detail::PropertyLookup {
public:
    explicit KeysInAnyCase(const AnyMap& map) : map_(map) {}

    const Any* Find(const std::string& key) const override {
        auto found = map_.find(key);
        if (found == map_.end() && map_.GetType() != AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS)
            found = std::find_if(map_.begin(), map_.end(), [&](const auto& entry) {
                return detail::EqualIgnoringCase(entry.first, key);
            });
        return found == map_.end() ? nullptr : &found->second;
    }

private:
    const AnyMap& map_;
};

} // namespace

LDAPFilter::LDAPFilter() = default;
LDAPFilter::LDAPFilter(const std::string& filter) : expression_(detail::LdapExpression::Parse(filter)) {}
LDAPFilter::LDAPFilter(const LDAPFilter&) = default;
LDAPFilter::LDAPFilter(LDAPFilter&&) noexcept = default;
LDAPFilter& LDAPFilter::operator=(const LDAPFilter&) = default;
LDAPFilter& LDAPFilter::operator=(LDAPFilter&&) noexcept = default;
LDAPFilter::~LDAPFilter() = default;

bool LDAPFilter::Match(const ServiceReferenceBase& reference) const {
    const auto& record = detail::ServiceAccess::Record(reference);
    return expression_ && record && expression_->Matches(*record->Properties());
}

bool LDAPFilter::Match(const Bundle& bundle) const {
    return bundle && Match(bundle.GetHeaders());
}

bool LDAPFilter::Match(const AnyMap& dictionary) const {
    return expression_ && expression_->Matches(KeysInAnyCase(dictionary));
}

bool LDAPFilter::MatchCase(const AnyMap& dictionary) const {
    return expression_ && expression_->Matches(ExactKeys(dictionary));
}

std::string LDAPFilter::ToString() const {
    return expression_ ? expression_->Text() : std::string();
}

bool LDAPFilter::operator==(const LDAPFilter& other) const {
    return expression_ == other.expression_ ||
           (expression_ && other.expression_ && expression_->Text() == other.expression_->Text());
}

std::ostream& operator<<(std::ostream& os, const LDAPFilter& filter) {
    return os << filter.ToString();
}

} // namespace cppmicroservices
