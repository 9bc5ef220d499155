#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/detail/AnyText.h>
#include <cppmicroservices/detail/TypeName.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace cppmicroservices {

class Any;

/// Thrown by any_cast when the Any holds another type, or nothing.
class BadAnyCastException : public std::bad_cast {
public:
    explicit BadAnyCastException(std::string message = "Bad any_cast") : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// A value of any copyable type. Copying an Any copies its value. Like a plain value, an Any may be read from
/// several threads but needs outside synchronisation for changes.
class Any {
public:
    Any() noexcept = default;

    template <class ValueType, class Value = std::decay_t<ValueType>>
    requires(!std::is_same_v<Value, Any>) Any(ValueType&& value)
        : content_(std::make_unique<Holder<Value>>(std::forward<ValueType>(value))) {
        static_assert(!std::is_array_v<std::remove_reference_t<ValueType>>,
                      "store a std::string instead of a string literal");
    }

    Any(const Any& other) : content_(other.content_ ? other.content_->Clone() : nullptr) {}
    Any(Any&& other) noexcept = default;
    ~Any() = default;

    Any& operator=(const Any& rhs) {
        Any(rhs).Swap(*this);
        return *this;
    }
    Any& operator=(Any&& rhs) noexcept = default;

    template <class ValueType>
    requires(!std::is_same_v<std::decay_t<ValueType>, Any>) Any& operator=(ValueType&& rhs) {
        Any(std::forward<ValueType>(rhs)).Swap(*this);
        return *this;
    }

    Any& Swap(Any& rhs) noexcept {
        content_.swap(rhs.content_);
        return *this;
    }

    /// Equal if both are empty, or both hold the same type and equal values. A type without operator== is
    /// equal only to itself, the very same Any.
    bool operator==(const Any& rhs) const {
        if (this == &rhs || !content_ || !rhs.content_)
            return this == &rhs || content_ == rhs.content_;
        return detail::SameType(Type(), rhs.Type()) && content_->Equals(*rhs.content_);
    }

    bool Empty() const noexcept { return !content_; }

    /// The value as text; containers as "[a,b]" and "{key : value}".
    /// \throws std::logic_error if empty.
    std::string ToString() const;

    /// As ToString, but an empty text for an empty Any.
    std::string ToStringNoExcept() const { return Empty() ? std::string() : ToString(); }

    /// The value as JSON; "null" if empty.
    std::string ToJSON(std::uint8_t increment, std::int32_t indent) const;
    std::string ToJSON(bool prettyPrint = false) const {
        return ToJSON(prettyPrint ? 4 : 0, prettyPrint ? 4 : 0);
    }

    /// The type of the value; typeid(void) if empty.
    const std::type_info& Type() const noexcept { return content_ ? content_->Type() : typeid(void); }

private:
    struct Content {
        virtual ~Content() = default;
        virtual std::unique_ptr<Content> Clone() const = 0;
        virtual const std::type_info& Type() const noexcept = 0;
        virtual void Print(std::ostream& os) const = 0;
        virtual void PrintJson(std::ostream& os, std::uint8_t increment, std::int32_t indent) const = 0;
        /// \pre other holds the same type
        virtual bool Equals(const Content& other) const = 0;
    };

    template <class T>
    struct Holder final : Content {
        template <class V>
        explicit Holder(V&& v) : value(std::forward<V>(v)) {}
        std::unique_ptr<Content> Clone() const override { return std::make_unique<Holder>(value); }
        const std::type_info& Type() const noexcept override { return typeid(T); }
        void Print(std::ostream& os) const override { any_value_to_string(os, value); }
        void PrintJson(std::ostream& os, std::uint8_t increment, std::int32_t indent) const override {
            any_value_to_json(os, value, increment, indent);
        }
        bool Equals(const Content& other) const override {
            if constexpr (requires(const T& a, const T& b) { static_cast<bool>(a == b); })
                return value == static_cast<const Holder&>(other).value;
            else
                return false;
        }
        T value;
    };

    std::unique_ptr<Content> content_;

    template <class ValueType>
    friend ValueType* any_cast(Any* operand) noexcept;
};

/// For an Any only: everything converts to Any, but must not become streamable by that.
template <std::same_as<Any> T>
std::ostream& operator<<(std::ostream& os, const T& any) {
    return os << any.ToStringNoExcept();
}

/// Pointer to the value, or null if \p operand is null or holds another type.
template <class ValueType>
ValueType* any_cast(Any* operand) noexcept {
    if (!operand || !detail::SameType(operand->Type(), typeid(ValueType)))
        return nullptr;
    // Not a dynamic_cast: the holder may come from another shared library.
    return &static_cast<Any::Holder<std::remove_cv_t<ValueType>>*>(operand->content_.get())->value;
}

template <class ValueType>
const ValueType* any_cast(const Any* operand) noexcept {
    return any_cast<ValueType>(const_cast<Any*>(operand));
}

/// Reference to the value.
/// \throws BadAnyCastException if \p operand holds another type, or nothing.
template <class ValueType>
ValueType& ref_any_cast(Any& operand) {
    if (auto* value = any_cast<ValueType>(&operand))
        return *value;
    throw BadAnyCastException("An Any holding " +
                              (operand.Empty() ? "nothing" : detail::Demangle(operand.Type())) +
                              " cannot be read as " + detail::TypeName<ValueType>() + ".");
}

template <class ValueType>
const ValueType& ref_any_cast(const Any& operand) {
    return ref_any_cast<ValueType>(const_cast<Any&>(operand));
}

/// Copy of the value.
/// \throws BadAnyCastException if \p operand holds another type, or nothing.
template <class ValueType>
ValueType any_cast(const Any& operand) {
    return ref_any_cast<std::remove_cvref_t<ValueType>>(operand);
}

template <class ValueType>
ValueType any_cast(Any& operand) {
    return ref_any_cast<std::remove_cvref_t<ValueType>>(operand);
}

} // namespace cppmicroservices
