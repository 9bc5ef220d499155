#include "hshd/Log.h"

namespace hshd {

const Logger& logger() {
    static const Logger& instance = *new Logger("hshd");
    return instance;
}

} // namespace hshd
