#include "contract/calls/CallbackScope.h"

#include <atomic>

namespace agent::spf::core {

namespace {
thread_local unsigned depth = 0;
std::atomic<unsigned> running{0};
} // namespace

CallbackScope::CallbackScope() noexcept {
    ++depth;
    ++running;
}
CallbackScope::~CallbackScope() {
    --running;
    --depth;
}
bool CallbackScope::active() noexcept {
    return depth != 0;
}
bool CallbackScope::activeAnywhere() noexcept {
    return running != 0;
}

} // namespace agent::spf::core
