#include "ArchiveBytes.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/file_mapping.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gelf.h>
#include <libelf.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace cppmicroservices::detail {

namespace {

namespace ipc = boost::interprocess;

constexpr std::string_view kSection = ".us_resources";

ipc::mapped_region Map(const std::filesystem::path& path) {
    if (!std::filesystem::is_regular_file(path))
        throw std::runtime_error(std::filesystem::exists(path) ? "it is no file" : "there is no such file");
    if (std::filesystem::is_empty(path))
        throw std::runtime_error("it is empty; build or copy the file again");
    try {
        // Private and writable, because the ELF reader takes no constant memory.
        return {ipc::file_mapping(path.c_str(), ipc::read_only), ipc::copy_on_write};
    } catch (const ipc::interprocess_exception& error) {
        throw std::runtime_error(std::string("it cannot be read: ") + error.what());
    }
}

struct EndElf {
    void operator()(Elf* elf) const { elf_end(elf); }
};

std::optional<std::string_view> SectionOf(const ipc::mapped_region& file) {
    elf_version(EV_CURRENT);
    const std::unique_ptr<Elf, EndElf> elf(
        elf_memory(static_cast<char*>(file.get_address()), file.get_size()));
    std::size_t names = 0;
    if (!elf || elf_kind(elf.get()) != ELF_K_ELF || elf_getshdrstrndx(elf.get(), &names) != 0)
        return std::nullopt;
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf.get(), section)) != nullptr;) {
        GElf_Shdr header;
        if (!gelf_getshdr(section, &header))
            continue;
        const char* name = elf_strptr(elf.get(), names, header.sh_name);
        if (!name || name != kSection)
            continue;
        if (header.sh_type == SHT_NOBITS || header.sh_offset > file.get_size() ||
            header.sh_size > file.get_size() - header.sh_offset)
            throw std::runtime_error("its section " + std::string(kSection) +
                                     " is cut off; build or copy the file again");
        return std::string_view(static_cast<const char*>(file.get_address()) + header.sh_offset,
                                header.sh_size);
    }
    return std::nullopt;
}

/// An archive is found from its end: the last record tells how far before it the entries begin, which in a
/// library is not the beginning of the file.
std::optional<std::string_view> AppendedTo(const ipc::mapped_region& file) {
    constexpr std::size_t kLastRecord = 22, kLongestComment = 0xffff;
    const std::string_view all(static_cast<const char*>(file.get_address()), file.get_size());
    const auto searched = all.substr(all.size() - std::min(all.size(), kLastRecord + kLongestComment));
    const auto at = searched.rfind("PK\5\6");
    if (at == std::string_view::npos || searched.size() - at < kLastRecord)
        return std::nullopt;
    std::uint32_t directory[2]; // its size, its offset
    std::memcpy(directory, searched.data() + at + 12, sizeof directory);
    const auto record = all.size() - searched.size() + at;
    const auto length = std::uint64_t{directory[0]} + directory[1];
    if (length > record)
        return std::nullopt;
    return all.substr(record - length);
}

std::string_view Find(const ipc::mapped_region& file) {
    auto bytes = SectionOf(file);
    if (!bytes)
        bytes = AppendedTo(file);
    if (!bytes)
        throw std::runtime_error("it is no bundle: it has neither an ELF section " + std::string(kSection) +
                                 " nor an appended zip archive");
    return *bytes;
}

} // namespace

ArchiveBytes::ArchiveBytes(const std::filesystem::path& file) : file_(Map(file)), bytes_(Find(file_)) {}

} // namespace cppmicroservices::detail
