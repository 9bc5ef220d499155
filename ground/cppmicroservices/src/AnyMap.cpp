#include "Text.h"

#include <cppmicroservices/AnyMap.h>

#include <charconv>
#include <stdexcept>
#include <vector>

namespace cppmicroservices {

std::size_t detail::any_map_cihash::operator()(std::string_view key) const noexcept {
    std::size_t hash = 14695981039346656037u; // FNV-1a
    for (const char c : key)
        hash = (hash ^ static_cast<unsigned char>(Lower(c))) * 1099511628211u;
    return hash;
}

bool detail::any_map_ciequal::operator()(std::string_view left, std::string_view right) const noexcept {
    return EqualIgnoringCase(left, right);
}

any_map::any_map(map_type type, std::initializer_list<value_type> items) {
    if (type == UNORDERED_MAP)
        map_.emplace<UNORDERED_MAP>();
    else if (type == UNORDERED_MAP_CASEINSENSITIVE_KEYS)
        map_.emplace<UNORDERED_MAP_CASEINSENSITIVE_KEYS>();
    else if (type != ORDERED_MAP)
        throw std::invalid_argument("Unknown kind of AnyMap; use one of any_map::map_type.");
    for (const auto& item : items)
        insert(item);
}

any_map::iterator any_map::begin() {
    return std::visit([](auto& map) { return iterator(map.begin()); }, map_);
}

any_map::const_iterator any_map::begin() const {
    return std::visit([](auto& map) { return const_iterator(map.begin()); }, map_);
}

any_map::iterator any_map::end() {
    return std::visit([](auto& map) { return iterator(map.end()); }, map_);
}

any_map::const_iterator any_map::end() const {
    return std::visit([](auto& map) { return const_iterator(map.end()); }, map_);
}

any_map::size_type any_map::size() const noexcept {
    return std::visit([](auto& map) { return map.size(); }, map_);
}

void any_map::clear() {
    std::visit([](auto& map) { map.clear(); }, map_);
}

any_map::size_type any_map::erase(const key_type& key) {
    return std::visit([&](auto& map) { return map.erase(key); }, map_);
}

any_map::iterator any_map::find(const key_type& key) {
    return std::visit([&](auto& map) { return iterator(map.find(key)); }, map_);
}

any_map::const_iterator any_map::find(const key_type& key) const {
    return std::visit([&](auto& map) { return const_iterator(map.find(key)); }, map_);
}

any_map::mapped_type& any_map::at(const key_type& key) {
    return const_cast<mapped_type&>(std::as_const(*this).at(key));
}

const any_map::mapped_type& any_map::at(const key_type& key) const {
    const auto found = find(key);
    if (found == end())
        throw std::out_of_range("There is no key '" + key + "'.");
    return found->second;
}

namespace {

const Any& Step(const Any& value, const std::string& step, const std::string& path) {
    if (const auto* map = any_cast<AnyMap>(&value))
        return map->at(step);
    const auto* list = any_cast<std::vector<Any>>(&value);
    if (!list)
        throw std::invalid_argument("The step '" + step + "' of '" + path +
                                    "' leads into a value that is neither an AnyMap nor a std::vector<Any>.");
    std::size_t index = 0;
    const auto [end, error] = std::from_chars(step.data(), step.data() + step.size(), index);
    if (error != std::errc() || end != step.data() + step.size())
        throw std::invalid_argument("The step '" + step + "' of '" + path + "' is not a list index.");
    return list->at(index);
}

} // namespace

const AnyMap::mapped_type& AnyMap::AtCompoundKey(const key_type& key) const {
    auto dot = key.find('.');
    const Any* value = &at(key.substr(0, dot));
    while (dot != std::string::npos) {
        const auto start = dot + 1;
        dot = key.find('.', start);
        value = &Step(*value, key.substr(start, dot - start), key);
    }
    return *value;
}

AnyMap::mapped_type AnyMap::AtCompoundKey(const key_type& key, mapped_type defaultValue) const noexcept {
    try {
        return AtCompoundKey(key);
    } catch (const std::exception&) {
        return defaultValue;
    }
}

bool AnyMap::operator==(const AnyMap& other) const {
    if (size() != other.size())
        return false;
    for (const auto& [key, value] : *this) {
        const auto found = other.find(key);
        if (found == other.end() || !(found->second == value))
            return false;
    }
    return true;
}

} // namespace cppmicroservices
