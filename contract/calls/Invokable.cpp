#include "contract/calls/Invokable.h"

namespace agent::spf::core {

Invokable::~Invokable() = default;

void Invokable::help(CallId /*call*/) noexcept {}

} // namespace agent::spf::core
