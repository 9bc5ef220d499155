#include "bench/support/Daemon.h"

#include "bench/support/Process.h"

#include <cstdlib>

namespace zelkor::bench {

Workplace::Workplace() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelkor-bench-XXXXXX").string();
    check(::mkdtemp(pattern.data()) != nullptr, "mkdtemp");
    path_ = pattern;
}

Workplace::~Workplace() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Daemon::Daemon(const std::filesystem::path& program)
    : process_({.program = program,
                .socketDirectory = socketDirectory(),
                .stateDirectory = workplace_.path() / "state",
                .arguments = {"--log-level", "off"},
                .errorFile = workplace_.path() / "hshd.log"}) {
    process_.start();
}

} // namespace zelkor::bench
