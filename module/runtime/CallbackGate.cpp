#include "module/runtime/CallbackGate.h"

namespace agent::spf::cppmsclientutils {

void CallbackGate::run(const std::function<void()>& callback) {
    const std::scoped_lock lock(mutex_);
    if (!closed_)
        callback();
}

void CallbackGate::close() {
    const std::scoped_lock lock(mutex_);
    closed_ = true;
}

} // namespace agent::spf::cppmsclientutils
