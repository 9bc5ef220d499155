#pragma once

#include <any>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace agent::spf::core {

/// An ordered list of typed values: the arguments or the result of a remote call.
///
/// A slot owns its value; copying a payload copies every value. Types are compared by name, so a payload
/// built in one shared library extracts in another. Not thread-safe; hand it on by moving.
class GenericPayload {
public:
    using Cloner = std::shared_ptr<void> (*)(const std::shared_ptr<void>&);

    /// The function that copies the T behind a pointer into a new shared object.
    template <class T>
    static Cloner cloner_helper() noexcept {
        return [](const std::shared_ptr<void>& value) -> std::shared_ptr<void> {
            return std::make_shared<T>(*static_cast<const T*>(value.get()));
        };
    }

    GenericPayload() = default;
    GenericPayload(const GenericPayload& other);
    GenericPayload& operator=(const GenericPayload& other);
    GenericPayload(GenericPayload&&) noexcept = default;
    GenericPayload& operator=(GenericPayload&&) noexcept = default;
    ~GenericPayload() = default;

    /// A payload of these values, one slot each.
    template <class... Args>
    static GenericPayload of(Args&&... args) {
        GenericPayload payload;
        payload.slots_.reserve(sizeof...(Args));
        (payload.add(std::forward<Args>(args)), ...);
        return payload;
    }

    void reserve(std::size_t slots) { slots_.reserve(slots); }

    template <class T>
    void add(T&& value) {
        using Value = std::remove_cvref_t<T>;
        addSlot(std::make_shared<Value>(std::forward<T>(value)), typeid(Value), cloner_helper<Value>());
    }
    /// Adds a slot as given. `value` may be null: the slot is then empty.
    void addSlot(std::shared_ptr<void> value, const std::type_info& type, Cloner cloner,
                 bool polymorphic = false);
    void addEmptySlot();

    std::size_t size() const noexcept { return slots_.size(); }
    bool isEmptySlot(std::size_t index) const noexcept { return index >= size() || !slots_[index].value; }
    bool isPolymorphic(std::size_t index) const noexcept {
        return index < polymorphic_.size() && polymorphic_[index];
    }
    /// The type of a slot's value; typeid(void) for an empty slot. `index` must be below size().
    const std::type_info& type(std::size_t index) const noexcept { return *slots_[index].type; }

    /// Where a slot's value is; null for an empty slot. `index` must be below size().
    const void* value(std::size_t index) const noexcept { return slots_[index].value.get(); }

    /// The value of a slot.
    /// @throws std::out_of_range no such slot; std::runtime_error the slot is empty; std::bad_any_cast the
    /// slot holds another type than T.
    template <class T>
    const T& get(std::size_t index) const {
        return *static_cast<const T*>(checked(index, typeid(T)).get());
    }
    /// As get(), but moves the value out.
    template <class T>
    T take(std::size_t index) {
        return std::move(*static_cast<T*>(checked(index, typeid(T)).get()));
    }
    /// As take(), for a value that completes a future.
    /// @throws also std::runtime_error when the slot is marked polymorphic.
    template <class T>
    T takeForFuture(std::size_t index) {
        void* value = checked(index, typeid(T)).get();
        refusePolymorphic(index);
        return std::move(*static_cast<T*>(value));
    }

private:
    struct Slot {
        std::shared_ptr<void> value;
        const std::type_info* type;
        Cloner cloner;
    };

    const std::shared_ptr<void>& checked(std::size_t index, const std::type_info& type) const;
    void refusePolymorphic(std::size_t index) const;

    std::vector<Slot> slots_;
    std::vector<bool> polymorphic_; // shorter than slots_ when the rest is false, so normally without memory
};

} // namespace agent::spf::core
