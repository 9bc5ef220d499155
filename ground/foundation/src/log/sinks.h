#pragma once

#include "log/console.h"

#include <foundation/log/setup.h>
#include <foundation/thread_annotations.h>

#include <memory>
#include <string>

namespace foundation::log::detail {

class LogFile;

/// The console and the file. Only writing happens under its lock, never a call out of this library, so a
/// record may be written from anywhere. The console never keeps it for long; see Console.
class Sinks {
public:
    Sinks();
    ~Sinks();

    /// @throws std::runtime_error if the file cannot be written; nothing has changed then.
    void replace(const Options& options) EXCLUDES(mutex_);
    void write(logging_event_types type, const std::string& line) EXCLUDES(mutex_);
    void flush() EXCLUDES(mutex_);

private:
    Mutex mutex_;
    SeverityFilter consoleFilter_ GUARDED_BY(mutex_) = SeverityFilter::off();
    Console console_ GUARDED_BY(mutex_);
    SeverityFilter fileFilter_ GUARDED_BY(mutex_) = SeverityFilter::off();
    std::unique_ptr<LogFile> file_ GUARDED_BY(mutex_);
};

} // namespace foundation::log::detail
