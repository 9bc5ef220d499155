#include "host/HostOptions.h"

namespace zelkor::host {

std::vector<Configuration> defaultConfigurations() {
    return {{.pid = "hv.HalvorinServiceHost.ZelkorLogin~host"},
            {.pid = "hv.HalvorinServiceHost.ZelkorLoginDetail~host"},
            {.pid = "hv.HalvorinServiceHost.PerClientV1ServiceForZELKOR~host"},
            {.pid = "hv.HalvorinServiceHost.PerClientV1Service~host"},
            {.pid = "hv.HalvorinServiceHost.LoginVetoer~host"}};
}

} // namespace zelkor::host
