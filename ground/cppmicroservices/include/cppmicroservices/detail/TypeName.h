#pragma once

#include <string>
#include <string_view>
#include <typeinfo>

namespace cppmicroservices::detail {

/// The type's name as written in C++ source.
std::string Demangle(const std::type_info& type);

/// Demangled once per type, since interface names are asked for on every lookup.
template <class T>
const std::string& TypeName() {
    static const std::string name = Demangle(typeid(T));
    return name;
}

/// Same type, judged by name: a type of hidden visibility has one type_info object per shared library.
inline bool SameType(const std::type_info& a, const std::type_info& b) {
    return a.name() == b.name() || std::string_view(a.name()) == b.name();
}

} // namespace cppmicroservices::detail
