#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>
#include <variant>

namespace cppmicroservices::detail {

/// Forward iterator over whichever container an any_map holds. An iterator converts to the matching
/// const_iterator.
template <class Value, class... Iterators>
class AnyMapIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<Value>;
    using difference_type = std::ptrdiff_t;
    using reference = Value&;
    using pointer = Value*;

    AnyMapIterator() = default;

    template <class Iterator>
    requires(std::is_same_v<Iterator, Iterators> || ...) explicit AnyMapIterator(Iterator position)
        : position_(position) {}

    template <class OtherValue, class... OtherIterators>
    requires(!std::is_same_v<OtherValue, Value>)
        AnyMapIterator(const AnyMapIterator<OtherValue, OtherIterators...>& other)
        : position_(std::visit([](auto it) { return Position(it); }, other.position_)) {}

    reference operator*() const {
        return std::visit([](auto it) -> reference { return *it; }, position_);
    }
    pointer operator->() const { return std::addressof(**this); }

    AnyMapIterator& operator++() {
        std::visit([](auto& it) { ++it; }, position_);
        return *this;
    }
    AnyMapIterator operator++(int) {
        auto before = *this;
        ++*this;
        return before;
    }

    friend bool operator==(const AnyMapIterator& left, const AnyMapIterator& right) {
        return left.position_ == right.position_;
    }

private:
    using Position = std::variant<Iterators...>;
    Position position_;

    template <class, class...>
    friend class AnyMapIterator;
};

} // namespace cppmicroservices::detail
