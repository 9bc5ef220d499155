#pragma once

#include "contract/calls/ExportedFunction.h"
#include "module/runtime/RemoteCall.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace agent::spf::cppmsclientutils {

using ExclusiveCaller = RemoteCaller<ExclusiveAccess>;

/// One thing that the application registered, shared by the table and by everything that may be about to call
/// it. What a kind of registrations adds is in Registered (RemoteRegistrations.h).
class Registration {
public:
    explicit Registration(const std::shared_ptr<InvokableTrackerBase>& tracker)
        : tracker_(tracker), remote_(tracker->state()) {}
    virtual ~Registration() = default;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    /// Whether its function may still be called: it was not removed, and its client's end has not begun.
    /// Looked at right before each call.
    bool active() const;

private:
    friend class RegistrationTable;

    /// The function as a daemon calls it.
    virtual core::ExportedFunction exported(const std::shared_ptr<Registration>& self) const = 0;
    /// Sends the remote add.
    virtual PendingCall<boost::uuids::uuid> announce(const ExclusiveCaller& call,
                                                     const core::ExportedCallback& callback) const = 0;

    /// What a daemon knows of it.
    struct Known {
        std::weak_ptr<core::Invokable> daemon;
        boost::uuids::uuid id; ///< the daemon's
        boost::uuids::uuid callback;
    };
    struct Remote {
        bool replayed = false; ///< entered in full: a new daemon is told of it
        std::vector<Known> known;
    };

    const std::weak_ptr<InvokableTrackerBase> tracker_;
    std::atomic<bool> removed_{false};
    Guarded<Remote> remote_;
};

/// The registrations of one kind, by the callers' ids, and what the daemons know of them.
///
/// Held by std::shared_ptr: an operation goes on, and ends as its daemon lets it, when the client is gone.
/// Which ids there are is guarded by a lock of its own, so that a removal never waits to learn whether there
/// is something to remove; what the daemons know is guarded by the tracker's state lock.
class RegistrationTable : public std::enable_shared_from_this<RegistrationTable> {
public:
    /// Whose id a caller gets.
    enum class CallersId {
        Ours,
        TheDaemons, ///< when a daemon took the registration at once; ours otherwise
    };
    /// What a registration that fails means for those behind it in a replay.
    enum class ReplayFailure { IsLogged, EndsReplay };
    struct Rules {
        const RemoteMethod<bool(boost::uuids::uuid)>& remoteRemove;
        CallersId callersId;
        ReplayFailure replayFailure;
        /// So many are on their way to a new daemon at once: enough to wait for it once instead of once for
        /// each, few enough to leave other clients of the connection their share of its pending calls.
        std::size_t onTheirWay;
    };

    /// @param rules outlive this.
    RegistrationTable(std::shared_ptr<InvokableTrackerBase> tracker, const Rules& rules)
        : tracker_(std::move(tracker)), rules_(rules) {}

    /// Makes a registration and tells the daemon, waiting for one up to the service timeout; a failure is
    /// logged, and the next daemon is told. Inside an exported callback that would have to wait for the state
    /// lock, the daemon is told soon after it. @return the caller's id; nil without randomness.
    boost::uuids::uuid add(const std::shared_ptr<Registration>& registration);
    /// Ends a registration, tells the daemon, inside an exported callback soon after it.
    /// @return false when there is none under the id.
    bool remove(const boost::uuids::uuid& id);

    /// Tells the daemon that has just been found of every registration, and every daemon that knew one before
    /// to forget it. @throws what a registration fails with, if that ends the replay.
    void replay(ExclusiveAccess& access);

    std::vector<std::shared_ptr<Registration>> all() const;

private:
    using Item = std::shared_ptr<Registration>;
    using Turn = InvokableTrackerBase::Turn;
    using Known = Registration::Known;
    template <class Value>
    using ById = std::unordered_map<boost::uuids::uuid, Value, boost::hash<boost::uuids::uuid>>;
    /// A registration that the daemon has been told of and has not answered.
    struct OnItsWay {
        Item item;
        boost::uuids::uuid callback;
        PendingCall<boost::uuids::uuid> answer;
    };

    void enter(ExclusiveAccess& access, const Item& item, Turn turn, boost::uuids::uuid& callersId);
    OnItsWay tell(ExclusiveAccess& access, const Item& item);
    void settle(ExclusiveAccess& access, OnItsWay& onItsWay);
    void replayInBatches(ExclusiveAccess& access, const std::vector<Item>& items);
    void forget(ExclusiveAccess& access, Registration& registration, Turn turn);
    void takeBack(ExclusiveAccess& access, const std::vector<Known>& known, Turn turn);
    bool forgetUnderDaemonsId(const boost::uuids::uuid& id);
    void giveDaemonsId(const boost::uuids::uuid& ours, const boost::uuids::uuid& daemons);

    const std::shared_ptr<InvokableTrackerBase> tracker_;
    const Rules& rules_;

    mutable foundation::Mutex mutex_; // a leaf
    ById<Item> items_ GUARDED_BY(mutex_);
    /// What the present daemon calls them, where that may be a caller's id.
    ById<std::weak_ptr<Registration>> byDaemonsId_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::cppmsclientutils
