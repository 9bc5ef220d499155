#pragma once

#include <cppmicroservices/BundleContext.h>

#include <memory>

namespace cppmicroservices::detail {

/// Where one bundle keeps the context it was given. It does not keep the context alive, so that after the
/// framework's end the getter gives a null context instead of a dangling one. Usable from any thread.
class BundleContextSlot {
public:
    BundleContextSlot();
    ~BundleContextSlot();
    BundleContextSlot(const BundleContextSlot&) = delete;
    BundleContextSlot& operator=(const BundleContextSlot&) = delete;

    void Set(BundleContextPrivate* context);
    BundleContext Get() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace cppmicroservices::detail
