#pragma once

#include "hshd/Timers.h"
#include "hshd/script/Script.h"

#include <agent/spf/transport/Server.h>

#include <memory>
#include <string>
#include <vector>

namespace hshd {

/// A script in the course of being played, shared by the services of a daemon. Used on the I/O thread.
class ScriptRun {
public:
    explicit ScriptRun(std::vector<Script::Rule> rules) : rules_(std::move(rules)), calls_(rules_.size()) {}

    /// What happens to this call; null for nothing. Counts it.
    const Script::Rule* ruleFor(const std::string& service, int version, const std::string& method);
    Timers& timers() noexcept { return timers_; }

private:
    const std::vector<Script::Rule> rules_;
    std::vector<std::int64_t> calls_; ///< that each rule was about
    Timers timers_;
};

/// A service that misbehaves as a script says, and is the real one otherwise.
class ScriptedService final : public agent::spf::transport::Service,
                              public std::enable_shared_from_this<ScriptedService> {
public:
    using IncomingCall = agent::spf::transport::IncomingCall;
    using Client = std::shared_ptr<agent::spf::transport::ClientSession>;

    ScriptedService(std::shared_ptr<ScriptRun> run, const agent::spf::transport::OfferedService& real)
        : run_(std::move(run)), name_(real.name), version_(real.version), real_(real.service) {}

    void onCall(std::unique_ptr<IncomingCall> call) override;
    void onConnected(const Client& client) override { real_->onConnected(client); }
    void onDisconnected(const Client& client) override;

private:
    void play(const Script::Rule& rule, std::unique_ptr<IncomingCall> call);
    void callBackFirst(std::unique_ptr<IncomingCall> call);

    const std::shared_ptr<ScriptRun> run_;
    const std::string name_;
    const int version_;
    const std::shared_ptr<agent::spf::transport::Service> real_;
    std::vector<std::unique_ptr<IncomingCall>> neverAnswered_; // the I/O thread's
};

/// @throws std::runtime_error when the script is about a service that is not among them.
void checkServices(const Script& script, const std::vector<agent::spf::transport::OfferedService>& offered);

/// What a daemon that plays this script offers in place of `real`, and announces besides.
std::vector<agent::spf::transport::OfferedService>
scripted(const Script& script, std::vector<agent::spf::transport::OfferedService> real);

} // namespace hshd
