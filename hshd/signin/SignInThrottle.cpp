#include "hshd/signin/SignInThrottle.h"

#include <algorithm>
#include <iterator>

namespace hshd {
namespace {

using namespace std::chrono_literals;
constexpr auto forgottenAfter = 10min;
constexpr std::size_t mostNames = 10'000;

} // namespace

std::chrono::milliseconds SignInThrottle::delay(const std::string& account) {
    const foundation::MutexLock lock(mutex_);
    forgetOld();
    const auto found = failures_.find(account);
    if (found == failures_.end() || found->second.count < 3)
        return 0ms;
    return std::min<std::chrono::milliseconds>(1s * (1 << std::min(found->second.count - 3, 5)), 30s);
}

void SignInThrottle::failed(const std::string& account) {
    const foundation::MutexLock lock(mutex_);
    forgetOld();
    if (failures_.size() >= mostNames && !failures_.contains(account))
        return; // somebody makes names up; none of them is worth the memory
    auto& failures = failures_[account];
    ++failures.count;
    failures.last = now_();
}

void SignInThrottle::succeeded(const std::string& account) {
    const foundation::MutexLock lock(mutex_);
    failures_.erase(account);
}

void SignInThrottle::forgetOld() {
    const auto now = now_();
    std::erase_if(failures_, [now](const auto& entry) { return now - entry.second.last > forgottenAfter; });
}

} // namespace hshd
