#pragma once

#include <foundation/log/severity_filter.h>
#include <foundation/log/subscription.h>

#include <cstdint>
#include <filesystem>

namespace foundation::log {

struct Options {
    /// What goes to the standard error stream. While nobody reads that, its lines are left out, and counted
    /// in a line of their own as soon as somebody does.
    SeverityFilter console = SeverityFilter::off();
    /// Appended to; its folder must exist. No other process may rotate it. Empty: no file.
    std::filesystem::path file;
    SeverityFilter fileFilter = SeverityFilter::all();
    /// Bytes that the file may reach before it becomes "<file>.1" (and that "<file>.2", and so on) and a new
    /// one is begun; a longer record gets a file of its own. 0 for never.
    std::uintmax_t rotationSize = 10 * 1024 * 1024;
    /// Earlier files to keep.
    unsigned rotatedFiles = 5;
};

/// Replaces the destinations of the whole process: what one shared library sets up holds for every library in
/// the process that logs through this one. Each record becomes exactly one line:
///
///     2024-05-17T08:30:02.125Z 256 error [component] 4711 text
///
/// with the time in UTC, the thread id before the text, and control characters escaped (\n, \t, \x1b,
/// \u0085). Any thread may call it at any time. A shared library that calls it must not be unloaded before
/// the next call.
/// @throws std::runtime_error if the file cannot be written; the destinations then stay as they were.
void setup(const Options& options);

/// Waits until the storage has what was logged to the file. The records themselves reach the system one by
/// one, so a crash of the process alone loses none.
void flush();

} // namespace foundation::log
