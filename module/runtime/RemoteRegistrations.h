#pragma once

#include "contract/calls/Errors.h"
#include "module/runtime/RegistrationTable.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils {

template <class Value>
class Registered;

/// One kind of registrations: what it has of its own.
template <class Id, class Value>
struct RegistrationKind {
    using Item = std::shared_ptr<const Registered<Value>>;

    /// Makes the function that a daemon calls; see calling().
    core::ExportedFunction (*wrap)(const Item& item);
    /// Sends the remote add.
    PendingCall<boost::uuids::uuid> (*announce)(const ExclusiveCaller& call, const Value& value,
                                                const core::ExportedCallback& callback);
    RegistrationTable::Rules rules;
};

/// A registration with the function, or what has the function, that the application gave.
template <class Value>
class Registered : public Registration {
public:
    Registered(const std::shared_ptr<InvokableTrackerBase>& tracker, Value given)
        : Registration(tracker), value(std::move(given)) {}

    const Value value;
};

/// The function of an item in the form that a kind exports: `call(value, arguments...)` as long as the item
/// is active, and WithdrawnError, which has the daemon drop it, afterwards.
template <class Signature, class Value, class Call>
core::ExportedFunction calling(std::shared_ptr<const Registered<Value>> item, Call call) {
    return core::exportAs<Signature>([item = std::move(item), call](auto&&... arguments) {
        if (!item->active())
            throw core::WithdrawnError("The registration was removed, or its client is gone");
        return call(item->value, std::forward<decltype(arguments)>(arguments)...);
    });
}

/// The registrations of one kind that a client has. Thread-safe; the client may be destroyed meanwhile.
/// @tparam Id what a caller knows a registration by, made of a uuid.
template <class Id, class Value>
class RemoteRegistrations {
public:
    using Kind = RegistrationKind<Id, Value>;
    using Item = std::shared_ptr<const Registered<Value>>;

    /// @param kind outlives everything: a constant.
    RemoteRegistrations(const std::shared_ptr<InvokableTrackerBase>& tracker, const Kind& kind)
        : tracker_(tracker), kind_(kind), table_(std::make_shared<RegistrationTable>(tracker, kind.rules)) {}

    /// @see RegistrationTable::add(). Never throws.
    Id add(Value value) {
        const auto table = table_;
        return Id(table->add(std::make_shared<Entry>(tracker_, kind_, std::move(value))));
    }
    /// @see RegistrationTable::remove()
    bool remove(const Id& id) {
        const auto table = table_;
        return table->remove(id.getValue());
    }

    const std::shared_ptr<RegistrationTable>& table() const noexcept { return table_; }

    /// All that are registered now.
    static std::vector<Item> in(const RegistrationTable& table) {
        std::vector<Item> items;
        for (const auto& item : table.all())
            items.push_back(std::static_pointer_cast<const Registered<Value>>(item));
        return items;
    }

private:
    class Entry final : public Registered<Value> {
    public:
        Entry(const std::shared_ptr<InvokableTrackerBase>& tracker, const Kind& kind, Value value)
            : Registered<Value>(tracker, std::move(value)), kind_(kind) {}

    private:
        core::ExportedFunction exported(const std::shared_ptr<Registration>& self) const override {
            return kind_.wrap(std::static_pointer_cast<const Registered<Value>>(self));
        }
        PendingCall<boost::uuids::uuid> announce(const ExclusiveCaller& call,
                                                 const core::ExportedCallback& callback) const override {
            return kind_.announce(call, this->value, callback);
        }
        const Kind& kind_;
    };

    const std::shared_ptr<InvokableTrackerBase> tracker_;
    const Kind& kind_;
    const std::shared_ptr<RegistrationTable> table_;
};

/// A finding callback that tells a new daemon of all registrations, kind after kind.
template <class... Registrations>
std::function<void(ExclusiveAccess&)> replaying(const Registrations&... registrations) {
    return [tables = std::vector<std::weak_ptr<RegistrationTable>>{registrations.table()...}](
               ExclusiveAccess& access) {
        for (const auto& weak : tables) {
            if (const auto table = weak.lock())
                table->replay(access);
        }
    };
}

} // namespace agent::spf::cppmsclientutils
