#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/detail/AnyMapIterator.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>

namespace cppmicroservices {

namespace detail {

struct any_map_cihash {
    std::size_t operator()(std::string_view key) const noexcept;
};

struct any_map_ciequal {
    bool operator()(std::string_view left, std::string_view right) const noexcept;
};

} // namespace detail

/// A map from strings to Any whose kind (ordered, hashed, hashed without regard to case) is chosen at
/// construction. Iterators stay valid as in the standard container of that kind.
class any_map {
public:
    using key_type = std::string;
    using mapped_type = Any;
    using value_type = std::pair<const key_type, mapped_type>;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = value_type&;
    using const_reference = const value_type&;
    using pointer = value_type*;
    using const_pointer = const value_type*;

    using ordered_any_map = std::map<std::string, Any>;
    using unordered_any_map = std::unordered_map<std::string, Any>;
    using unordered_any_cimap =
        std::unordered_map<std::string, Any, detail::any_map_cihash, detail::any_map_ciequal>;

    using iterator = detail::AnyMapIterator<value_type, ordered_any_map::iterator,
                                            unordered_any_map::iterator, unordered_any_cimap::iterator>;
    using const_iterator =
        detail::AnyMapIterator<const value_type, ordered_any_map::const_iterator,
                               unordered_any_map::const_iterator, unordered_any_cimap::const_iterator>;

    enum map_type : std::uint8_t { ORDERED_MAP, UNORDERED_MAP, UNORDERED_MAP_CASEINSENSITIVE_KEYS };

    any_map(map_type type, std::initializer_list<value_type> items = {});
    any_map(const ordered_any_map& map) : map_(map) {}
    any_map(ordered_any_map&& map) : map_(std::move(map)) {}
    any_map(const unordered_any_map& map) : map_(map) {}
    any_map(unordered_any_map&& map) : map_(std::move(map)) {}
    any_map(const unordered_any_cimap& map) : map_(map) {}
    any_map(unordered_any_cimap&& map) : map_(std::move(map)) {}

    iterator begin();
    const_iterator begin() const;
    const_iterator cbegin() const { return begin(); }
    iterator end();
    const_iterator end() const;
    const_iterator cend() const { return end(); }

    bool empty() const noexcept { return size() == 0; }
    size_type size() const noexcept;
    size_type count(const key_type& key) const { return find(key) == end() ? 0 : 1; }
    void clear();

    /// \throws std::out_of_range if there is no such key.
    mapped_type& at(const key_type& key);
    const mapped_type& at(const key_type& key) const;
    mapped_type& operator[](const key_type& key) { return emplace(key, Any()).first->second; }
    mapped_type& operator[](key_type&& key) { return emplace(std::move(key), Any()).first->second; }

    std::pair<iterator, bool> insert(const value_type& value) { return emplace(value.first, value.second); }

    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return std::visit(
            [&](auto& map) -> std::pair<iterator, bool> {
                auto [position, inserted] = map.emplace(std::forward<Args>(args)...);
                return {iterator(position), inserted};
            },
            map_);
    }

    size_type erase(const key_type& key);

    iterator find(const key_type& key);
    const_iterator find(const key_type& key) const;

protected:
    /// The alternatives stand in the order of map_type.
    std::variant<ordered_any_map, unordered_any_map, unordered_any_cimap> map_;
};

/// The property map of components and configurations.
class AnyMap : public any_map {
public:
    /// Keys are compared without regard to case.
    AnyMap(std::initializer_list<value_type> items = {})
        : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS, items) {}
    AnyMap(map_type type, std::initializer_list<value_type> items = {}) : any_map(type, items) {}
    AnyMap(const ordered_any_map& map) : any_map(map) {}
    AnyMap(ordered_any_map&& map) : any_map(std::move(map)) {}
    AnyMap(const unordered_any_map& map) : any_map(map) {}
    AnyMap(unordered_any_map&& map) : any_map(std::move(map)) {}
    AnyMap(const unordered_any_cimap& map) : any_map(map) {}
    AnyMap(unordered_any_cimap&& map) : any_map(std::move(map)) {}

    map_type GetType() const noexcept { return static_cast<map_type>(map_.index()); }

    /// The value at a path such as "a.b.0.c" through nested AnyMaps (by key) and std::vector<Any>s (by
    /// index). \throws std::invalid_argument if a step leads into a value that is neither, or an index is not
    /// a number. \throws std::out_of_range if a key or an index does not exist.
    const mapped_type& AtCompoundKey(const key_type& key) const;

    /// As above, with \p defaultValue wherever that would throw.
    mapped_type AtCompoundKey(const key_type& key, mapped_type defaultValue) const noexcept;

    /// Same keys with equal values. The kinds of the two maps do not matter.
    bool operator==(const AnyMap& other) const;
};

} // namespace cppmicroservices
