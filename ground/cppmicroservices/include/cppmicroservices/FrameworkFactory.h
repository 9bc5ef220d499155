#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkExport.h>

#include <ostream>
#include <string>
#include <unordered_map>

namespace cppmicroservices {

/// Framework properties at creation; see Constants.
using FrameworkConfiguration = std::unordered_map<std::string, Any>;

/// Creates framework instances, each with a registry of its own.
class FrameworkFactory {
public:
    /// \param logger receives errors and warnings as lines of text if the property FRAMEWORK_LOG is true;
    /// std::clog
    ///        if null. It must outlive the framework and is written by one thread at a time.
    Framework NewFramework(const FrameworkConfiguration& configuration, std::ostream* logger = nullptr);
    Framework NewFramework();
};

} // namespace cppmicroservices
