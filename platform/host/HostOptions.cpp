#include "platform/host/HostOptions.h"

namespace zelkor::host {

std::vector<Configuration> defaultConfigurations() {
    return {{.pid = "hv.HalvorinServiceHost.ZelkorLogin~host"},
            {.pid = "hv.HalvorinServiceHost.ZelkorLoginDetail~host"}};
}

} // namespace zelkor::host
