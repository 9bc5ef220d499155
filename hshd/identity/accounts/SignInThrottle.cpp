#include "hshd/identity/accounts/SignInThrottle.h"

#include <algorithm>

namespace hshd {
namespace {

using namespace std::chrono_literals;
constexpr auto forgottenAfter = 10min;
constexpr auto longestWait = 1min;
constexpr std::size_t mostNames = 10'000;
/// Of the names that have none of their own, while somebody makes names up.
const std::string sharedQueue;

} // namespace

std::shared_ptr<SignInThrottle::Try> SignInThrottle::next(const std::string& account) {
    const foundation::MutexLock lock(mutex_);
    forgetOld();
    const bool own = queues_.size() < mostNames || queues_.contains(account);
    const std::string& name = own ? account : sharedQueue;
    auto& queue = queues_[name];
    const auto now = now_();
    auto turn = now;
    if (const int before = queue.wrong + queue.underWay; before >= 3)
        turn = std::max(now, queue.last) +
               std::min<std::chrono::seconds>(1s * (1 << std::min(before - 3, 5)), 30s);
    if (turn - now > longestWait)
        return nullptr;
    queue.last = turn;
    ++queue.underWay;
    return std::make_shared<Try>(*this, name, std::chrono::ceil<std::chrono::milliseconds>(turn - now));
}

void SignInThrottle::end(const std::string& name, Try::How how) {
    const foundation::MutexLock lock(mutex_);
    auto& queue = queues_[name];
    --queue.underWay;
    queue.last = std::max(queue.last, now_());
    if (how == Try::How::Failed)
        ++queue.wrong;
    else if (how == Try::How::Succeeded)
        queue.wrong = 0;
}

void SignInThrottle::forgetOld() {
    const auto now = now_();
    std::erase_if(queues_, [now](const auto& entry) {
        const auto& queue = entry.second;
        return queue.underWay == 0 && (queue.wrong == 0 || now - queue.last > forgottenAfter);
    });
}

} // namespace hshd
