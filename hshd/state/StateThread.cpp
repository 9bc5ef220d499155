#include "hshd/state/StateThread.h"

#include <algorithm>
#include <future>
#include <memory>
#include <utility>

namespace hshd {
namespace {

constexpr std::size_t bytesOfAnItem = 512;
const boost::uuids::uuid queue{}; // the pool's only one

foundation::concurrent::threadpool::Executor::Options oneThread() {
    foundation::concurrent::threadpool::Executor::Options options;
    options.minThreads = options.maxThreads = 1;
    options.name = "hshd-state";
    return options;
}

} // namespace

StateThread::StateThread(const Limits& limits) : limits_(limits), executor_(oneThread()) {}

StateThread::Posted StateThread::post(Owner owner, std::size_t bytes, std::function<void()> work) {
    Item item{std::move(work), bytes + bytesOfAnItem};
    {
        const foundation::MutexLock lock(mutex_);
        auto own = std::ranges::find(queues_, owner, &Queue::owner);
        const bool first = own == queues_.end();
        if (!first && own->bytes + item.bytes > limits_.ofOwner)
            return Posted::Full;
        if (!queues_.empty() && bytes_ + item.bytes > limits_.ofAll)
            return Posted::Full;
        if (first)
            own = queues_.insert(queues_.end(), Queue{owner, {}, 0});
        own->bytes += item.bytes;
        bytes_ += item.bytes;
        own->items.push_back(std::move(item));
    }
    // One turn for each item: what is dropped leaves a turn in which nothing is done.
    if (executor_.post(queue, [this] { runNext(); }))
        return Posted::Yes;
    drop(owner);
    return Posted::Ending;
}

void StateThread::runNext() {
    Item item;
    {
        const foundation::MutexLock lock(mutex_);
        if (queues_.empty())
            return;
        auto& next = queues_.front();
        item = std::move(next.items.front());
        next.items.pop_front();
        next.bytes -= item.bytes;
        bytes_ -= item.bytes;
        if (next.items.empty())
            queues_.pop_front();
        else
            queues_.splice(queues_.end(), queues_, queues_.begin());
    }
    item.work();
}

void StateThread::drop(Owner owner) {
    std::list<Queue> dropped;
    const foundation::MutexLock lock(mutex_);
    if (const auto own = std::ranges::find(queues_, owner, &Queue::owner); own != queues_.end()) {
        bytes_ -= own->bytes;
        dropped.splice(dropped.end(), queues_, own);
    }
}

void StateThread::drain() {
    // A turn of its own: it comes when all turns given before have been taken.
    const auto reached = std::make_shared<std::promise<void>>();
    if (executor_.post(queue, [reached] { reached->set_value(); }))
        reached->get_future().wait();
}

} // namespace hshd
