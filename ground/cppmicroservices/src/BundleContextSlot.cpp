#include "BundleContextPrivate.h"

#include <cppmicroservices/detail/BundleContextSlot.h>
#include <foundation/thread_annotations.h>

namespace cppmicroservices::detail {

struct BundleContextSlot::State {
    foundation::Mutex mutex;
    std::weak_ptr<BundleContextPrivate> context GUARDED_BY(mutex);
};

BundleContextSlot::BundleContextSlot() : state_(std::make_unique<State>()) {}

BundleContextSlot::~BundleContextSlot() = default;

void BundleContextSlot::Set(BundleContextPrivate* context) {
    auto replaced = context ? context->weak_from_this() : std::weak_ptr<BundleContextPrivate>();
    const foundation::MutexLock lock(state_->mutex);
    state_->context.swap(replaced);
}

BundleContext BundleContextSlot::Get() const {
    const foundation::MutexLock lock(state_->mutex);
    return MakeBundleContext(state_->context.lock());
}

} // namespace cppmicroservices::detail
