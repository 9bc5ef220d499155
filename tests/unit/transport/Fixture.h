#pragma once

#include "runtime/core/Invokable.h"
#include "tests/support/Eventually.h"

#include <agent/spf/transport/Connector.h>
#include <agent/spf/transport/Server.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <foundation/log/subscription.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace transport_test {

using namespace std::chrono_literals;
using namespace agent::spf;
using Invokables = std::shared_ptr<core::Invokable>;

using zelkor::test::eventually;
inline constexpr auto generous = zelkor::test::generousLimit;

class TempDirectory {
public:
    TempDirectory() {
        std::string path = (std::filesystem::temp_directory_path() / "transport-XXXXXX").string();
        path_ = ::mkdtemp(path.data());
    }
    ~TempDirectory() { std::filesystem::remove_all(path_); }
    std::filesystem::path operator/(const char* name) const { return path_ / name; }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A function that a test replaces while another thread may be calling it.
template <class... Args>
class Script {
public:
    using Function = std::function<void(Args...)>;
    Script& operator=(Function function) {
        const std::lock_guard lock(mutex_);
        function_ = std::move(function);
        return *this;
    }
    void operator()(Args... args) {
        std::unique_lock lock(mutex_);
        const auto function = function_;
        lock.unlock();
        if (function)
            function(std::move(args)...);
    }

private:
    std::mutex mutex_;
    Function function_;
};

/// A service doing what the test says; until then it answers with the arguments.
struct Scripted : transport::Service {
    Script<std::unique_ptr<transport::IncomingCall>> call;
    Script<std::shared_ptr<transport::ClientSession>> connected;
    Script<std::shared_ptr<transport::ClientSession>> disconnected;

    Scripted() {
        call = [](auto incoming) { incoming->reply(std::move(incoming->arguments())); };
    }
    void onCall(std::unique_ptr<transport::IncomingCall> incoming) override { call(std::move(incoming)); }
    void onConnected(const std::shared_ptr<transport::ClientSession>& client) override { connected(client); }
    void onDisconnected(const std::shared_ptr<transport::ClientSession>& client) override {
        disconnected(client);
    }
};

/// Calls that a script keeps unanswered.
class Held {
public:
    std::function<void(std::unique_ptr<transport::IncomingCall>)> keep() {
        return [this](auto call) {
            const std::lock_guard lock(mutex_);
            calls_.push_back(std::move(call));
        };
    }
    std::size_t size() {
        const std::lock_guard lock(mutex_);
        return calls_.size();
    }
    std::vector<std::unique_ptr<transport::IncomingCall>> release() {
        const std::lock_guard lock(mutex_);
        return std::move(calls_);
    }

private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<transport::IncomingCall>> calls_;
};

inline std::unique_ptr<transport::Server> startServer(const std::filesystem::path& directory,
                                                      std::shared_ptr<transport::Service> service,
                                                      transport::Limits limits = {}) {
    auto server = std::make_unique<transport::Server>(
        transport::ServerOptions{directory, limits},
        std::vector<transport::OfferedService>{{"Test", 2, 1, 7, std::move(service)}});
    server->start();
    return server;
}

/// A framework with a connector in it.
class Client {
public:
    explicit Client(const std::filesystem::path& directory, transport::Limits limits = {},
                    std::chrono::milliseconds jitter = 1ms)
        : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
        framework_.Start();
        connector_ = std::make_unique<transport::Connector>(
            framework_.GetBundleContext(),
            transport::ConnectorOptions{directory, "test-client", limits, jitter}, executor_);
        connector_->start();
    }
    ~Client() {
        connector_.reset();
        framework_.Stop();
        framework_.WaitForStop(0ms);
    }

    cppmicroservices::BundleContext context() { return framework_.GetBundleContext(); }
    transport::Connector& connector() { return *connector_; }
    /// The service registered now; null when there is none.
    Invokables current() {
        try {
            auto reference = context().GetServiceReference<core::Invokable>();
            return reference ? context().GetService(reference) : nullptr;
        } catch (const std::exception&) {
            return nullptr; // unregistered between the two
        }
    }
    Invokables found() {
        Invokables invokable;
        EXPECT_TRUE(eventually([&] { return (invokable = current()) != nullptr; }));
        return invokable;
    }

private:
    foundation::concurrent::threadpool::Executor executor_{{}};
    cppmicroservices::Framework framework_;
    std::unique_ptr<transport::Connector> connector_;
};

/// Calls as the synchronous clients do.
template <class R, class... Args>
R callAndHelp(core::Invokable& invokable, std::chrono::seconds timeout, std::string method, Args... args) {
    auto call = invokable.startCall<R>(timeout, std::move(method), std::move(args)...);
    invokable.help(call.id);
    return call.result.get();
}

/// How a call with a limit in milliseconds ends, by whatever thread.
inline std::future<core::GenericPayload> callFor(core::Invokable& invokable,
                                                 std::chrono::milliseconds timeout, std::string method,
                                                 core::GenericPayload arguments = {},
                                                 core::Invokable::CallId* id = nullptr) {
    auto promise = std::make_shared<std::promise<core::GenericPayload>>();
    const auto started = invokable.invokeGeneric(
        timeout, std::move(method), core::SignatureDescriptor::of<void()>(), std::move(arguments),
        {[promise](core::GenericPayload value) { promise->set_value(std::move(value)); },
         [promise](std::exception_ptr error) { promise->set_exception(error); }});
    if (id)
        *id = started;
    return promise->get_future();
}

/// The error's kind and text; fails the test when the call ends otherwise, or not at all.
template <class R>
std::pair<core::ErrorKind, std::string> errorOf(std::future<R> result) {
    if (result.wait_for(generous) != std::future_status::ready) {
        ADD_FAILURE() << "the call did not end";
        return {};
    }
    try {
        result.get();
    } catch (const core::InvocationError& error) {
        return {error.kind(), error.what()};
    }
    ADD_FAILURE() << "the call succeeded";
    return {};
}

/// Everything logged while it lives.
class LogRecorder {
public:
    /// How many lines contain the text.
    std::size_t count(const std::string& text) {
        const std::lock_guard lock(mutex_);
        std::size_t lines = 0;
        for (const auto& line : lines_)
            lines += line.find(text) != std::string::npos ? 1 : 0;
        return lines;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
    foundation::log::Subscription subscription_ = foundation::log::subscribe([this](const auto& record) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(record.text);
    });
};

} // namespace transport_test
