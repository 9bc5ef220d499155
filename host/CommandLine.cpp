#include "host/CommandLine.h"

#include "host/ConfigurationError.h"
#include "host/ConfigurationFile.h"
#include "host/ModuleFile.h"

namespace zelkor::host {

HostOptions CommandLine::hostOptions() const {
    HostOptions options;
    options.connector.clientId = "zelkorlogin";
    if (!configurationFile.empty())
        readConfigurationFile(configurationFile, options);
    if (!module.empty())
        options.module = std::filesystem::absolute(module);
    else if (options.module.empty())
        options.module = findModule(programFolder());
    if (!std::filesystem::is_regular_file(options.module))
        throw ConfigurationError("there is no login module at " + options.module.string() +
                                 ". Give the path of its library");
    if (!socketDirectory.empty())
        options.connector.socketDirectory = std::filesystem::absolute(socketDirectory);
    if (timeout)
        for (auto& configuration : options.configurations) {
            configuration.properties["timeouts::call"] = *timeout;
            configuration.properties["timeouts::service"] = *timeout;
        }
    return options;
}

} // namespace zelkor::host
