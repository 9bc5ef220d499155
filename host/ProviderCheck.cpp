#include "host/ProviderCheck.h"

#include "host/ExitCode.h"

#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace zelkor::host {

int checkProvider(const std::string& file) {
    std::error_code none;
    const auto own = std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
    // Installed they are in one directory; in the build tree in neighbouring ones.
    for (const auto& program : {own / "hshd", own.parent_path() / "hshd/hshd"})
        if (std::filesystem::is_regular_file(program, none))
            ::execl(program.c_str(), "hshd", "--check-provider", "--provider", file.c_str(), nullptr);
    ::execlp("hshd", "hshd", "--check-provider", "--provider", file.c_str(), nullptr);
    std::cerr
        << "zelkorlogin: the daemon's program, hshd, is neither beside this one nor in PATH; install it\n";
    return static_cast<int>(ExitCode::Configuration);
}

} // namespace zelkor::host
