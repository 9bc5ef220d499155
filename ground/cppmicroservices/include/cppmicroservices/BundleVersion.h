#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <ostream>
#include <string>

namespace cppmicroservices {

/// The version of a bundle: three numbers and a qualifier of letters, digits, '-' and '_', written
/// "major.minor.micro.qualifier", of which what is missing at the end is 0 or empty. A plain value.
///
/// An undefined version has no parts and no order; it equals only another undefined one.
class BundleVersion {
public:
    explicit BundleVersion(bool undefined = false) noexcept : undefined_(undefined) {}
    BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion);
    /// \throws std::invalid_argument for another character in \p qualifier.
    BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion,
                  std::string qualifier);
    /// Undefined for an empty text. \throws std::invalid_argument if \p version is not written as above.
    BundleVersion(const std::string& version);

    static BundleVersion EmptyVersion() { return BundleVersion(0, 0, 0); }
    static BundleVersion UndefinedVersion() { return BundleVersion(true); }
    /// As the constructor, but of a blank text 0.0.0; blanks around it do not count.
    static BundleVersion ParseVersion(const std::string& version);

    bool IsUndefined() const noexcept { return undefined_; }
    /// \throws std::logic_error if undefined, as the other parts.
    unsigned int GetMajor() const;
    unsigned int GetMinor() const;
    unsigned int GetMicro() const;
    std::string GetQualifier() const;
    /// "undefined" if it is.
    std::string ToString() const;

    /// \throws std::logic_error if this one is undefined and the other is not.
    bool operator==(const BundleVersion& other) const;
    /// Below, equal to or above 0, by the numbers and then the qualifiers' characters.
    /// \throws std::logic_error if one of them is undefined.
    int Compare(const BundleVersion& other) const;

private:
    const BundleVersion& Defined() const;

    unsigned int major_ = 0;
    unsigned int minor_ = 0;
    unsigned int micro_ = 0;
    std::string qualifier_;
    bool undefined_;
};

std::ostream& operator<<(std::ostream& os, const BundleVersion& version);

} // namespace cppmicroservices
