#include "bench/support/Daemon.h"

#include "bench/support/Process.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

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
    try {
        process_.start();
    } catch (const std::exception& error) {
        std::ifstream log(workplace_.path() / "hshd.log"); // goes with the workplace
        throw std::runtime_error(std::string(error.what()) + "\n" +
                                 std::string(std::istreambuf_iterator<char>(log), {}));
    }
}

void Daemon::restart() {
    process_.kill();
    process_.start();
}

} // namespace zelkor::bench
