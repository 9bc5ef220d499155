#pragma once

#include <boost/interprocess/mapped_region.hpp>

#include <filesystem>
#include <string_view>

namespace cppmicroservices::detail {

/// The archive inside a bundle file: the ELF section .us_resources if there is one, otherwise the archive
/// appended to the file, or the file itself. The file stays mapped for the object's life.
class ArchiveBytes {
public:
    /// \throws std::runtime_error if the file cannot be read or holds no archive, without naming the file.
    explicit ArchiveBytes(const std::filesystem::path& file);

    const void* Data() const noexcept { return bytes_.data(); }
    std::size_t Size() const noexcept { return bytes_.size(); }

private:
    const boost::interprocess::mapped_region file_;
    const std::string_view bytes_;
};

} // namespace cppmicroservices::detail
