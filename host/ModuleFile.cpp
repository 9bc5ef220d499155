#include "host/ModuleFile.h"

#include "host/ConfigurationError.h"

#include <system_error>

namespace zelkor::host {

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::filesystem::path findModule(const std::filesystem::path& programFolder) {
    const auto beside = programFolder / ZELKOR_MODULE_NAME;
    const auto installed =
        (programFolder / ZELKOR_MODULE_FROM_PROGRAM / ZELKOR_MODULE_NAME).lexically_normal();
    std::error_code ignored;
    for (const auto& candidate : {beside, installed})
        if (std::filesystem::is_regular_file(candidate, ignored))
            return candidate;
    throw ConfigurationError("there is no login module at " + beside.string() + " nor at " +
                             installed.string() + ". Install it there, or name its library with --bundle");
}

} // namespace zelkor::host
