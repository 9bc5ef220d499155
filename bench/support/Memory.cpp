#include "bench/support/Memory.h"

#include <fstream>
#include <initializer_list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zelkor::bench {

namespace {

/// The numbers of a file of lines "name: number kB". @throws std::runtime_error unless all `wanted` are there
std::map<std::string, long> fieldsOf(const std::string& path, std::initializer_list<const char*> wanted) {
    std::ifstream file(path);
    std::map<std::string, long> fields;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        long kilobytes = 0;
        if (words >> name >> kilobytes)
            fields[name] = kilobytes;
    }
    for (const char* name : wanted) {
        if (!fields.contains(name))
            throw std::runtime_error("cannot read " + path);
    }
    return fields;
}

} // namespace

Memory Memory::of(pid_t process) {
    auto fields = fieldsOf("/proc/" + std::to_string(process) + "/smaps_rollup", {"Rss:", "Pss:"});
    return {fields["Rss:"], fields["Pss:"], fields["Private_Clean:"] + fields["Private_Dirty:"]};
}

long Memory::peakOf(pid_t process) {
    return fieldsOf("/proc/" + std::to_string(process) + "/status", {"VmHWM:"})["VmHWM:"];
}

} // namespace zelkor::bench
