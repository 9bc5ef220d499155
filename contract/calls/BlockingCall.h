#pragma once

#include "contract/calls/GenericPayload.h"

#include <type_traits>
#include <typeinfo>

namespace agent::spf::core {

/// An argument of a call whose caller waits: the value where the caller has it. Copyable, and valid while the
/// call lasts.
class ArgumentRef {
public:
    template <class T>
    requires(!std::is_same_v<T, ArgumentRef>) explicit ArgumentRef(const T& value) noexcept
        : value_(&value), type_(&typeid(T)),
          append_([](const void* from, GenericPayload& to) { to.add(*static_cast<const T*>(from)); }) {}

    const void* value() const noexcept { return value_; }
    const std::type_info& type() const noexcept { return *type_; }
    /// Adds a slot with a copy of the value.
    void appendTo(GenericPayload& payload) const { append_(value_, payload); }

private:
    const void* value_;
    const std::type_info* type_;
    void (*append_)(const void*, GenericPayload&);
};

/// Where the result of such a call goes. Copyable, and valid while the call lasts.
class ResultRef {
public:
    /// For a method without a result.
    ResultRef() noexcept = default;
    template <class T>
    requires(!std::is_same_v<std::remove_const_t<T>, ResultRef>) explicit ResultRef(T& value) noexcept
        : value_(&value), type_(&typeid(T)),
          take_([](GenericPayload& from, void* to) { *static_cast<T*>(to) = from.takeForFuture<T>(0); }) {}

    /// Null without a result.
    void* value() const noexcept { return value_; }
    /// typeid(void) without a result.
    const std::type_info& type() const noexcept { return *type_; }
    /// Moves slot 0 to where it goes; does nothing without a result.
    /// @throws what GenericPayload::takeForFuture() throws.
    void takeFrom(GenericPayload& result) const {
        if (take_)
            take_(result, value_);
    }

private:
    void* value_ = nullptr;
    const std::type_info* type_ = &typeid(void);
    void (*take_)(GenericPayload&, void*) = nullptr;
};

} // namespace agent::spf::core
