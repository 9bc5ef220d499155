#pragma once

#include "bench/support/Process.h"
#include "bench/support/Signal.h"

#include <filesystem>
#include <memory>

namespace zelkor::bench {

/// An application's process: idle_host as a program of its own, for what a fork would share with this one
/// must count. Signals when it is ready, and each time its registrations are made again.
std::unique_ptr<Child> startHost(const std::filesystem::path& program,
                                 const std::filesystem::path& socketDirectory, const Signal& signal,
                                 int registrations);

/// The same without registrations; returns when it is ready.
std::unique_ptr<Child> startHost(const std::filesystem::path& program,
                                 const std::filesystem::path& socketDirectory);

} // namespace zelkor::bench
