#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <functional>

namespace cppmicroservices {

class BundleEvent;
class FrameworkEvent;
class ServiceEvent;

using ServiceListener = std::function<void(const ServiceEvent&)>;
using BundleListener = std::function<void(const BundleEvent&)>;
using FrameworkListener = std::function<void(const FrameworkEvent&)>;

} // namespace cppmicroservices
