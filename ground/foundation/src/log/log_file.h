#pragma once

#include <foundation/log/setup.h>

#include <cstdio>
#include <memory>
#include <string>

namespace foundation::log::detail {

/// A file that is appended to and rotated by size. Not synchronised.
class LogFile {
public:
    /// @throws std::runtime_error if the file cannot be opened for writing.
    explicit LogFile(const Options& options);

    /// A line that cannot be written (full disk) is dropped: there is nobody to tell. Each line reaches the
    /// system at once, as the last lines before a crash are the ones that matter.
    void write(const std::string& line);

    /// Waits until the storage has what was written.
    void flush();

private:
    struct Close {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    bool open();
    void rotate();
    std::filesystem::path rotated(unsigned number) const;

    const std::filesystem::path file_;
    const std::uintmax_t rotationSize_;
    const unsigned rotatedFiles_;
    std::unique_ptr<std::FILE, Close> stream_;
    std::uintmax_t size_ = 0;
};

} // namespace foundation::log::detail
