#pragma once

#include "contract/records/LoginInfo.h"
#include "module/runtime/RemoteRegistrations.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// Status listeners of one kind, and how one is told of a state.
struct StatusAudience {
    std::weak_ptr<RegistrationTable> listeners;
    std::function<void(const Registration&, const login::LoginInfo&)> tell;
};

/// @param tell gets what was registered, and the state.
template <class Id, class Value, class Tell>
StatusAudience audience(const RemoteRegistrations<Id, Value>& listeners, Tell tell) {
    return {listeners.table(), [tell](const Registration& item, const login::LoginInfo& info) {
                tell(static_cast<const Registered<Value>&>(item).value, info);
            }};
}

/// A found callback: asks the new daemon who is logged in, and has every listener told, each guarded by
/// itself.
/// @param getLoginInfo a constant.
std::function<void()> refreshing(const std::shared_ptr<InvokableTrackerBase>& tracker,
                                 const RemoteMethod<login::LoginInfo(std::string, int)>& getLoginInfo,
                                 std::vector<StatusAudience> audiences);

} // namespace agent::spf::cppmsclientutils
