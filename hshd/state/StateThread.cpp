#include "hshd/state/StateThread.h"

#include <future>
#include <memory>
#include <utility>

namespace hshd {
namespace {

const boost::uuids::uuid queue{}; // the pool's only one

foundation::concurrent::threadpool::Executor::Options oneThread() {
    foundation::concurrent::threadpool::Executor::Options options;
    options.minThreads = options.maxThreads = 1;
    options.name = "hshd-state";
    return options;
}

} // namespace

StateThread::StateThread() : executor_(oneThread()) {}

bool StateThread::post(std::function<void()> work) {
    return executor_.post(queue, std::move(work));
}

void StateThread::drain() {
    const auto reached = std::make_shared<std::promise<void>>();
    if (post([reached] { reached->set_value(); }))
        reached->get_future().wait();
}

} // namespace hshd
