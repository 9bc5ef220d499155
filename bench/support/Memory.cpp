#include "bench/support/Memory.h"

#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zelkor::bench {

Memory Memory::of(pid_t process) {
    const std::string path = "/proc/" + std::to_string(process) + "/smaps_rollup";
    std::ifstream file(path);
    std::map<std::string, long> fields;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        long kilobytes = 0;
        if (words >> name >> kilobytes)
            fields[name] = kilobytes;
    }
    if (!fields.contains("Rss:") || !fields.contains("Pss:"))
        throw std::runtime_error("cannot read " + path);
    return {fields["Rss:"], fields["Pss:"], fields["Private_Clean:"] + fields["Private_Dirty:"]};
}

} // namespace zelkor::bench
