#include "hshd/Release.h"

namespace hshd {

const char* release() noexcept {
    return HSHD_RELEASE;
}

} // namespace hshd
