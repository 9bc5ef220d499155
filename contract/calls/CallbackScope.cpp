#include "contract/calls/CallbackScope.h"

namespace agent::spf::core {

namespace {
thread_local unsigned depth = 0;
}

CallbackScope::CallbackScope() noexcept {
    ++depth;
}
CallbackScope::~CallbackScope() {
    --depth;
}
bool CallbackScope::active() noexcept {
    return depth != 0;
}

} // namespace agent::spf::core
