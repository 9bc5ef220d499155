#pragma once

#include <cppmicroservices/logservice/LogService.hpp>
#include <foundation/log/diagnostic_logger.h>

namespace zelkor::host {

/// Puts what the framework says of components, above all why one cannot be constructed, into the program's
/// log as component "framework". Register it before the bundles start. Usable from any thread.
class ComponentLog final : public cppmicroservices::logservice::LogService {
public:
    using Severity = cppmicroservices::logservice::SeverityLevel;
    using Reference = cppmicroservices::ServiceReferenceBase;

    void Log(Severity severity, const std::string& message) override { write(severity, message, nullptr); }
    void Log(Severity severity, const std::string& message, const std::exception_ptr cause) override {
        write(severity, message, cause);
    }
    void Log(const Reference&, Severity severity, const std::string& message) override {
        write(severity, message, nullptr);
    }
    void Log(const Reference&, Severity severity, const std::string& message,
             const std::exception_ptr cause) override {
        write(severity, message, cause);
    }
    /// Null: messages come by Log() only.
    std::shared_ptr<cppmicroservices::logservice::Logger> getLogger(const std::string&) const override {
        return nullptr;
    }
    std::shared_ptr<cppmicroservices::logservice::Logger> getLogger(const cppmicroservices::Bundle&,
                                                                    const std::string&) const override {
        return nullptr;
    }

private:
    void write(Severity severity, const std::string& message, const std::exception_ptr& cause) const;

    const foundation::log::basic_diagnostic_logger<char> log_{"framework"};
};

} // namespace zelkor::host
