#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

/// A framework that runs, with what it needs to have components.
class Host {
public:
    explicit Host(const cppmicroservices::FrameworkConfiguration& properties = {})
        : framework(cppmicroservices::FrameworkFactory().NewFramework(properties)) {
        framework.Start();
        context = framework.GetBundleContext();
        std::stringstream bundles(ZELKOR_RUNTIME_BUNDLES);
        for (std::string path; std::getline(bundles, path, ';');)
            for (auto& bundle : context.InstallBundles(path))
                bundle.Start();
    }
    ~Host() { Stop(); }

    void Stop() {
        framework.Stop();
        framework.WaitForStop(std::chrono::milliseconds::zero());
    }

    cppmicroservices::Framework framework;
    cppmicroservices::BundleContext context;
};
