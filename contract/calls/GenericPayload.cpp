#include "contract/calls/GenericPayload.h"

#include <stdexcept>

namespace agent::spf::core {

GenericPayload::GenericPayload(const GenericPayload& other) : polymorphic_(other.polymorphic_) {
    slots_.reserve(other.slots_.size());
    for (const Slot& slot : other.slots_)
        slots_.push_back({slot.value ? slot.cloner(slot.value) : nullptr, slot.type, slot.cloner});
}

GenericPayload& GenericPayload::operator=(const GenericPayload& other) {
    if (this != &other)
        *this = GenericPayload(other);
    return *this;
}

void GenericPayload::addSlot(std::shared_ptr<void> value, const std::type_info& type, Cloner cloner,
                             bool polymorphic) {
    if (polymorphic) {
        polymorphic_.resize(slots_.size());
        polymorphic_.push_back(true);
    }
    slots_.push_back({std::move(value), &type, cloner});
}

void GenericPayload::addEmptySlot() {
    slots_.push_back({nullptr, &typeid(void), nullptr});
}

const std::shared_ptr<void>& GenericPayload::checked(std::size_t index, const std::type_info& type) const {
    if (index >= slots_.size())
        throw std::out_of_range("Invalid GenericPayload index");
    const Slot& slot = slots_[index];
    if (!slot.value)
        throw std::runtime_error("GenericPayload empty at index");
    if (*slot.type != type)
        throw std::bad_any_cast();
    return slot.value;
}

void GenericPayload::refusePolymorphic(std::size_t index) const {
    if (isPolymorphic(index))
        throw std::runtime_error("Polymorphic types are not supported with futures");
}

} // namespace agent::spf::core
