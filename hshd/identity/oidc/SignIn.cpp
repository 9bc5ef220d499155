#include "hshd/identity/oidc/SignIn.h"

#include "contract/records/Utf.h"
#include "hshd/Log.h"
#include "hshd/identity/oidc/IdToken.h"

#include <algorithm>
#include <utility>

namespace hshd::oidc {
namespace {

namespace json = foundation::json;
using std::chrono::seconds;
using Level = login::LoginInfo::Level;

constexpr seconds skew{60};
constexpr seconds longestInterval{60};

std::string textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

std::int64_t numberAt(const json::object& object, std::string_view key, std::int64_t missing) {
    const auto* value = object.if_contains(key);
    return value && value->is_int64() ? value->get_int64() : missing;
}

/// Whether a sign-in with these claims proves what the level asks for.
bool proves(const json::object& claims, const Settings::Level& level) {
    if (!level.acr.empty() && std::ranges::find(level.acr, textAt(claims, "acr")) == level.acr.end())
        return false;
    if (!level.maxAge)
        return true;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const seconds proved(numberAt(claims, "auth_time", 0));
    return now - proved <= *level.maxAge + skew;
}

login::LoginInfo infoOf(const json::object& claims, const Settings& settings) {
    const auto claim = [&](const char* field) { return textAt(claims, settings.claims.at(field)); };
    const auto claim16 = [&](const char* field) { return login::toUtf16(claim(field)); };
    login::LoginInfo info;
    info.userId = claim16("userId");
    info.displayName = claim16("displayName");
    info.givenName = claim16("givenName");
    info.familyName = claim16("familyName");
    info.email = claim16("email");
    info.locale = claim("locale");
    if (info.displayName.empty())
        info.displayName = info.email.empty() ? info.userId : info.email;
    for (const auto& [level, asked] : settings.levels)
        if (proves(claims, asked))
            info.level = std::max(info.level, level);
    return info;
}

} // namespace

template <class Function>
auto SignIn::step(Function function) {
    return [self = shared_from_this(), function = std::move(function)](auto&&... args) {
        if (!self->ended_)
            function(*self, std::forward<decltype(args)>(args)...);
    };
}

template <class Function>
auto SignIn::weakHop(Function function) {
    return
        [&network = parts_.network, weak = weak_from_this(), function = std::move(function)](auto... args) {
            network.post([weak, function, args...] {
                if (const auto self = weak.lock())
                    function(*self, args...);
            });
        };
}

template <class Function>
auto SignIn::hop(Function function) {
    return [self = shared_from_this(), function = std::move(function)](auto... args) {
        self->parts_.network.post(self->step([function, args...](SignIn& here) { function(here, args...); }));
    };
}

void SignIn::start() {
    parts_.network.post(step([](SignIn& self) {
        const auto found = self.parts_.settings.levels.find(std::max(self.wish_.level, Level::SignedIn));
        if (found == self.parts_.settings.levels.end()) {
            self.fail("Nobody can sign in at level " + std::to_string(static_cast<int>(self.wish_.level)) +
                      " here: the provider file says nothing of that level.");
            return;
        }
        self.level_ = found->second;
        // Which also keeps it so long: nothing of the browser's does.
        self.parts_.network.after(self.parts_.limit,
                                  self.step([](SignIn& late) { late.fail("Nobody signed in in time."); }));
        self.parts_.discovery.metadata(self.step([](SignIn& here, auto outcome) {
            if (const auto* problem = std::get_if<Problem>(&outcome))
                here.fail("The sign-in cannot begin: " + problem->text + ".");
            else
                here.begin(std::get<0>(std::move(outcome)));
        }));
    }));
}

void SignIn::cancel() {
    parts_.network.post([self = shared_from_this()] {
        self->ended_ = true;
        self->listener_.reset();
    });
}

void SignIn::begin(std::shared_ptr<const Metadata> metadata) {
    metadata_ = std::move(metadata);
    ties_ = Ties::make();
    try {
        listener_ = std::make_shared<LoopbackListener>(
            parts_.settings.redirectPath, ties_.state,
            weakHop([](SignIn& self, const LoopbackListener::Parameters& parameters) {
                if (!self.ended_)
                    self.redirected(parameters);
            }));
    } catch (const std::runtime_error& error) {
        logger().log(Severity::warning, std::string("No browser can be used for a sign-in: ") + error.what());
        askForCode();
        return;
    }
    openBrowser();
}

void SignIn::openBrowser() {
    const auto address =
        authorizationAddress(parts_.settings, *metadata_, ties_, listener_->redirectUri(), level_,
                             wish_.again || wish_.level > Level::SignedIn, wish_.account);
    parts_.front.openAddress(client_, address, hop([](SignIn& self, bool shown, const std::string& problem) {
                                 if (!problem.empty()) {
                                     self.fail(problem);
                                 } else if (!shown) {
                                     self.listener_.reset();
                                     self.askForCode();
                                 }
                             }));
}

void SignIn::redirected(const LoopbackListener::Parameters& parameters) {
    try {
        const auto code = codeOf(parameters, parts_.settings, *metadata_);
        auto request = clientRequest(parts_.settings, metadata_->tokenEndpoint,
                                     {{"grant_type", "authorization_code"},
                                      {"code", code.view()},
                                      {"redirect_uri", listener_->redirectUri()},
                                      {"code_verifier", ties_.verifier.view()},
                                      {"resource", parts_.settings.resource}});
        parts_.network.send(std::move(request),
                            step([asked = BootClock::now()](SignIn& self, const net::HttpAnswer& answer) {
                                auto outcome = readTokens(answer, asked);
                                if (const auto* problem = std::get_if<Problem>(&outcome))
                                    self.fail("The provider gave no tokens: " + problem->text + ".");
                                else
                                    self.received(std::get<0>(std::move(outcome)));
                            }));
    } catch (const std::runtime_error& error) {
        fail(error.what());
    }
}

// --- by a code on another device

void SignIn::askForCode() {
    if (metadata_->deviceEndpoint.empty()) {
        fail("No browser can be opened here, and the provider offers no sign-in by a code on another device. "
             "Sign in on the desktop.");
        return;
    }
    std::string acr;
    for (const auto& value : level_.acr)
        acr += (acr.empty() ? "" : " ") + value;
    parts_.network.send(clientRequest(parts_.settings, metadata_->deviceEndpoint,
                                      {{"scope", parts_.settings.scopes},
                                       {"acr_values", acr},
                                       {"audience", parts_.settings.audience},
                                       {"resource", parts_.settings.resource}}),
                        step([asked = BootClock::now()](SignIn& self, const net::HttpAnswer& answer) {
                            auto outcome = readObject(answer);
                            if (const auto* problem = std::get_if<Problem>(&outcome))
                                self.fail("The provider gave no code: " + problem->text + ".");
                            else
                                self.showCode(std::get<0>(outcome), asked);
                        }));
}

void SignIn::showCode(const json::object& answer, BootClock::time_point asked) {
    deviceCode_ = Secret(textAt(answer, "device_code"));
    DeviceCode code;
    code.code = excerpt(textAt(answer, "user_code"), 64);
    code.address = textAt(answer, "verification_uri");
    code.completeAddress = textAt(answer, "verification_uri_complete");
    code.lasts = seconds(std::clamp<std::int64_t>(numberAt(answer, "expires_in", 600), 1, 24 * 3600));
    interval_ =
        seconds(std::clamp<std::int64_t>(numberAt(answer, "interval", 5), 1, longestInterval.count()));
    codeEnds_ = asked + code.lasts;
    const auto url = net::Url::parse(code.address);
    if (!deviceCode_ || code.code.empty() || !url || !url->isSafe()) {
        fail("The provider's code cannot be used.");
        return;
    }
    if (const auto complete = net::Url::parse(code.completeAddress); !complete || !complete->isSafe())
        code.completeAddress.clear();
    parts_.front.showCode(client_, code, hop([](SignIn& self, bool shown, const std::string& problem) {
                              if (!shown)
                                  self.fail(problem.empty() ? "The code could not be shown." : problem);
                          }));
    parts_.network.after(interval_, step([](SignIn& self) { self.poll(); }));
}

void SignIn::poll() {
    parts_.network.send(clientRequest(parts_.settings, metadata_->tokenEndpoint,
                                      {{"grant_type", "urn:ietf:params:oauth:grant-type:device_code"},
                                       {"device_code", deviceCode_.view()}}),
                        step([asked = BootClock::now()](SignIn& self, const net::HttpAnswer& answer) {
                            self.polled(answer, asked);
                        }));
}

void SignIn::polled(const net::HttpAnswer& answer, BootClock::time_point asked) {
    auto outcome = readTokens(answer, asked);
    auto* problem = std::get_if<Problem>(&outcome);
    if (!problem) {
        received(std::get<0>(std::move(outcome)));
        return;
    }
    if (problem->error == "access_denied") {
        fail("The sign-in was cancelled at the provider.");
        return;
    }
    if (problem->error == "slow_down")
        interval_ += seconds(5);
    else if (problem->kind == Problem::Kind::Later)
        interval_ =
            std::max(std::min(interval_ * 2, longestInterval), problem->retryAfter.value_or(seconds(0)));
    else if (problem->error != "authorization_pending") {
        fail(problem->error == "expired_token" ? "The code has ended; try again."
                                               : "The provider gave no tokens: " + problem->text + ".");
        return;
    }
    if (BootClock::now() >= codeEnds_)
        fail("The code has ended; try again.");
    else
        parts_.network.after(interval_, step([](SignIn& self) { self.poll(); }));
}

// --- who it is

void SignIn::received(Tokens tokens) {
    tokens_ = std::move(tokens);
    if (!tokens_.id) {
        fail("The provider gave no ID token.");
        return;
    }
    parts_.discovery.keys(false, step([](SignIn& self, const auto& outcome) {
                              if (const auto* problem = std::get_if<Problem>(&outcome))
                                  self.fail("The sign-in cannot be verified: " + problem->text + ".");
                              else
                                  self.verify(std::get<0>(outcome), false);
                          }));
}

void SignIn::verify(const std::shared_ptr<const Keys>& keys, bool anew) {
    try {
        const bool code = static_cast<bool>(deviceCode_); // without a browser there is no nonce
        claims_ = verifiedClaims(tokens_.id.view(), *keys,
                                 {parts_.settings.issuer, parts_.settings.clientId,
                                  code ? std::string_view() : ties_.nonce.view(), tokens_.access.view()});
        askUserinfo();
    } catch (const UnknownKey& error) {
        if (anew)
            fail(std::string("The provider's ID token cannot be trusted: ") + error.what() + ".");
        else
            parts_.discovery.keys(true, step([](SignIn& self, const auto& outcome) {
                                      if (const auto* problem = std::get_if<Problem>(&outcome))
                                          self.fail("The sign-in cannot be verified: " + problem->text + ".");
                                      else
                                          self.verify(std::get<0>(outcome), true);
                                  }));
    } catch (const std::exception& error) {
        fail(std::string("The provider's ID token cannot be trusted: ") + error.what() + ".");
    }
}

void SignIn::askUserinfo() {
    const bool complete = std::ranges::all_of(parts_.settings.claims, [this](const auto& claim) {
        return claim.second.empty() || claims_.contains(claim.second);
    });
    if (complete || metadata_->userinfoEndpoint.empty()) {
        finish();
        return;
    }
    net::HttpRequest request;
    request.url = metadata_->userinfoEndpoint;
    request.caFile = parts_.settings.caFile;
    Wiped header("Bearer " + std::string(tokens_.access.view()));
    request.authorization = Secret(*header);
    parts_.network.send(
        std::move(request), step([](SignIn& self, const net::HttpAnswer& answer) {
            const auto outcome = readObject(answer);
            if (const auto* problem = std::get_if<Problem>(&outcome)) {
                logger().log(Severity::warning,
                             "The provider told nothing more of the person: " + problem->text);
            } else {
                const auto& more = std::get<0>(outcome);
                if (textAt(more, "sub") != textAt(self.claims_, "sub")) {
                    self.fail("The provider told of another person than the one who signed in.");
                    return;
                }
                for (const auto& member : more) // what is signed counts more
                    self.claims_.emplace(member.key(), member.value());
            }
            self.finish();
        }));
}

void SignIn::finish() {
    Identity identity{
        infoOf(claims_, parts_.settings), login::AccessToken(std::string(tokens_.access.view())),
        Grant{parts_.settings.name(), tokens_.refresh, tokens_.id, tokens_.begins, tokens_.ends}};
    if (identity.info.userId.empty()) {
        fail("The provider tells no `" + parts_.settings.claims.at("userId") + "` of the person.");
        return;
    }
    if (identity.info.level < wish_.level) {
        fail("The provider confirmed less than level " + std::to_string(static_cast<int>(wish_.level)) +
             " asks for (acr `" + excerpt(textAt(claims_, "acr"), 60) + "`).");
        return;
    }
    ended_ = true;
    tokens_ = {};
    if (listener_)
        listener_->answer(true, "Signed in as " + login::toUtf8(identity.info.displayName) + ".",
                          weakHop([](SignIn& self) { self.listener_.reset(); }));
    done_(std::move(identity), {});
}

void SignIn::fail(const std::string& problem) {
    ended_ = true;
    tokens_ = {};
    logger().log(Severity::warning, "A sign-in of client " + client_->clientId() + " (process " +
                                        std::to_string(client_->pid()) + ") failed: " + problem);
    if (listener_)
        listener_->answer(false, problem, weakHop([](SignIn& self) { self.listener_.reset(); }));
    done_({}, problem);
}

} // namespace hshd::oidc
