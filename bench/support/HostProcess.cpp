#include "bench/support/HostProcess.h"

#include <string>
#include <unistd.h>

namespace zelkor::bench {

std::unique_ptr<Child> startHost(const std::filesystem::path& program,
                                 const std::filesystem::path& socketDirectory, const Signal& signal,
                                 int registrations) {
    return std::make_unique<Child>([&] {
        signal.giveByOutput();
        ::execl(program.c_str(), program.c_str(), socketDirectory.c_str(),
                std::to_string(registrations).c_str(), nullptr);
        check(false, "execl");
    });
}

std::unique_ptr<Child> startHost(const std::filesystem::path& program,
                                 const std::filesystem::path& socketDirectory) {
    const Signal ready;
    auto child = startHost(program, socketDirectory, ready, 0);
    ready.await();
    return child;
}

} // namespace zelkor::bench
