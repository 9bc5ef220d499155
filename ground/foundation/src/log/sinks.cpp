#include "log/sinks.h"

#include "log/log_file.h"

#include <utility>

namespace foundation::log::detail {

Sinks::Sinks() = default;
Sinks::~Sinks() = default;

void Sinks::replace(const Options& options) {
    // The lock also keeps the old file, which may be the same one, from being rotated once the new one is
    // open.
    const MutexLock lock(mutex_);
    std::unique_ptr<LogFile> file;
    if (!options.file.empty()) {
        file = std::make_unique<LogFile>(options);
    }
    consoleFilter_ = options.console;
    fileFilter_ = file ? options.fileFilter : SeverityFilter::off();
    // The old file is closed under the lock: both may be the same file, and a rotation must not cross its
    // last lines.
    file_ = std::move(file);
}

void Sinks::write(logging_event_types type, const std::string& line) {
    const MutexLock lock(mutex_);
    if (consoleFilter_.passes(type)) {
        console_.write(line);
    }
    if (fileFilter_.passes(type)) {
        file_->write(line);
    }
}

void Sinks::flush() {
    const MutexLock lock(mutex_);
    if (file_) {
        file_->flush();
    }
}

} // namespace foundation::log::detail
