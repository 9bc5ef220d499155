#include "log/log_file.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace foundation::log::detail {

LogFile::LogFile(const Options& options)
    // Absolute, so that rotation still finds it after a change of the working directory.
    : file_(std::filesystem::absolute(options.file)), rotationSize_(options.rotationSize),
      rotatedFiles_(options.rotatedFiles) {
    if (!open()) {
        const std::error_code error(errno, std::generic_category());
        throw std::runtime_error("cannot write the log file '" + file_.string() + "' (" + error.message() +
                                 "); choose a writable file in an existing folder");
    }
}

void LogFile::write(const std::string& line) {
    if (rotationSize_ != 0 && size_ != 0 && size_ + line.size() > rotationSize_) {
        rotate();
    }
    if (!stream_ && !open()) {
        return;
    }
    size_ += std::fwrite(line.data(), 1, line.size(), stream_.get());
    std::fflush(stream_.get());
}

void LogFile::flush() {
    if (stream_) {
        ::fsync(::fileno(stream_.get()));
    }
}

bool LogFile::open() {
    // "e": programs that this process starts do not inherit it.
    stream_.reset(std::fopen(file_.c_str(), "ae"));
    std::error_code error;
    const auto size = std::filesystem::file_size(file_, error);
    size_ = error ? 0 : size;
    return stream_ != nullptr;
}

void LogFile::rotate() {
    // Where a name cannot be changed the records go on in the file as it is.
    std::error_code error;
    for (unsigned number = rotatedFiles_; number > 1; --number) {
        std::filesystem::rename(rotated(number - 1), rotated(number), error);
    }
    if (rotatedFiles_ == 0) {
        std::filesystem::remove(file_, error);
    } else {
        std::filesystem::rename(file_, rotated(1), error);
    }
    open();
}

std::filesystem::path LogFile::rotated(unsigned number) const {
    return file_.string() + "." + std::to_string(number);
}

} // namespace foundation::log::detail
