#include <cppmicroservices/Any.h>

#include <cstdlib>
#include <cxxabi.h>
#include <sstream>
#include <stdexcept>

namespace cppmicroservices {

std::string detail::Demangle(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type.name();
}

std::string Any::ToString() const {
    if (Empty())
        throw std::logic_error("An empty Any has no text; check Empty() or use ToStringNoExcept().");
    std::ostringstream os;
    content_->Print(os);
    return os.str();
}

} // namespace cppmicroservices
