// SPDX-License-Identifier: MIT
#include <service/daemon.h>

#include <service/base/limits.h>
#include <service/base/log.h>
#include <service/defaults.h>
#include <service/policy/activation.h>
#include <service/service_manager.h>

#include <platform/bridge/endpoint.h>
#include <platform/bridge/server.h>
#include <vocabulary/policy.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace panelkitd {

namespace {

// The engine reads the tokens again this often: objects on them may have changed.
constexpr auto pauseForEngine = std::chrono::seconds(30);

void announce(Announcer& announcer, const PolicyNews& news) {
    if (news.activated) {
        announcer.announcePolicyActivated(news.source, news.title, news.user);
    } else {
        announcer.announcePolicyFailed(news.source, news.title, news.message, news.remarks, news.user);
    }
}

// Every front end of the host hears it. What is in a user's policy concerns this user only.
void announce(Announcer& announcer, const TunnelNews& news) {
    const bool isUsers = !news.owner.empty();
    vocabulary::TunnelNotice notice{{}, news.section, news.gateway, news.owner, news.changes, {}};
    if (isUsers) notice.section = vocabulary::notShown;
    if (isUsers) notice.gateway.clear();
    if (news.up) return announcer.announceTunnelUp(std::move(notice));
    announcer.announceTunnelDown(std::move(notice), isUsers ? Remarks() : news.why);
}

} // namespace

Daemon::Daemon(const Options& options)
    : options_(options),
      state_(options.state),
      access_(options.usersGroup, options.administratorsGroup),
      configuration_(state_, {options.logLevel, options.administratorsGroup}),
      engine_(makeEngine(engineOptions())),
      providers_(state_, providerOptions()),
      certificates_(providers_, configuration_, engine_->protectsTraffic() ? KeyUse::byEngine : KeyUse::stored),
      tokenView_(providers_, certificates_.facts()),
      credentials_([this] { return readTokens(); }, std::chrono::seconds(1),
                   engine_->protectsTraffic() ? pauseForEngine : std::chrono::hours(24)),
      tokenWatcher_(
          providers_, announcer_, options.tokenPoll, [this] { credentials_.refresh(); },
          UnattendedLogins(options.pinFiles), [this](const PKCS11::TokenInfo& token) { tellEngineOfLogOut(token); }),
      tokens_(providers_, tokenWatcher_),
      expiryWatch_([this] { return certificates_.watched(); }, announcer_, configuration_.settings().expiry),
      parameters_(configuration_, announcer_),
      policies_(state_, credentials_, *engine_, [this](const PolicyNews& news) { announce(announcer_, news); }),
      policy_(policies_, [this](const LSPcmd::LSPsettings_t& settings,
                                const std::string& user) { setPolicySettings(settings, user); }),
      monitor_(providers_, certificates_, configuration_, *engine_, policies_),
      dispatcher_({.tokens = tokens_,
                   .certificates = certificates_,
                   .parameters = parameters_,
                   .interfaces = interfaces_,
                   .policy = policy_,
                   .monitor = monitor_},
                  access_, [this] {
                      if (engine_->protectsTraffic()) credentials_.refresh();
                  }) {
    listenToConfiguration();
    sharePolicySource();
}

// ---- the engine

EngineOptions Daemon::engineOptions() {
    EngineOptions options = options_.engine;
    options.parameters = configuration_.settings().engine;
    options.news = [this](const TunnelNews& news) { announce(announcer_, news); };
    if (options.name != "record") options.folder = state_.folder("engine");
    return options;
}

ProviderOptions Daemon::providerOptions() {
    ProviderOptions options = options_.providers;
    options.embeddedEnvironment = configureEmbeddedModule(state_.folder("softhsm"));
    if (!engine_->protectsTraffic()) return options;
    options.loggedIn = [this](const std::string& module, const PKCS11::TokenInfo& token, const platform::Secret& pin) {
        engine_->tokenLoggedIn(engineToken(module, token), pin);
        credentials_.refresh();
    };
    return options;
}

CredentialList Daemon::readTokens() {
    CredentialList list = tokenView_.look();
    list.revocationCounts = configuration_.settings().crlProcessing != CrlProcessing::off;
    if (engine_->protectsTraffic()) engine_->credentialsChanged(tokenView_.forEngine());
    return list;
}

void Daemon::tellEngineOfLogOut(const PKCS11::TokenInfo& token) const {
    if (!engine_->protectsTraffic()) return;
    for (const auto& provider : providers_.all()) {
        const Provider::Settings& settings = provider->settings();
        if (settings.name == token.*vocabulary::token::provider) {
            engine_->tokenLoggedOut(engineToken(settings.path, token));
        }
    }
}

// Applies the service's own settings from the configuration, now and after each commit.
void Daemon::listenToConfiguration() {
    const auto act = [this](const ServiceSettings& settings, const std::vector<std::string>&) {
        setLogLevel(settings.logLevel);
        access_.setAdministratorsGroup(settings.administratorsGroup);
        expiryWatch_.set(settings.expiry);
        engine_->parametersChanged(settings.engine);
    };
    act(configuration_.settings(), {});
    configuration_.observe(act);
}

// ---- the source of the system's policy

void Daemon::sharePolicySource() {
    PolicySource present =
        policySourceIn({*findSection(policySourceSection), configuration_.read(policySourceSection)});
    try {
        const LSPcmd::LSPsettings_t settings = policies_.systemSettings();
        present = {settings.Source, settings.File};
    } catch (const RefusedError& error) { // commits that change it are refused
        logFailure("the source of the policy", error);
    }
    const auto check = [](const PolicySource& wanted) {
        LSPcmd::LSPsettings_t settings;
        settings.Source = wanted.source;
        settings.File = wanted.file;
        requireTakeable(settings);
    };
    const auto keep = [this](const PolicySource& wanted) { policies_.setSystemSource(wanted.source, wanted.file); };
    configuration_.sharePolicySource(present, {check, keep});
}

void Daemon::setPolicySettings(const LSPcmd::LSPsettings_t& settings, const std::string& user) {
    const bool changed = configuration_.adoptPolicySource([&] {
        policies_.setSystemSettings(settings);
        return PolicySource{settings.Source, settings.File};
    });
    if (changed) announcer_.announceConfigurationCommitted(user, {policySourceSection});
}

// ---- serving

void Daemon::serve(TerminationRequest& termination) {
    const bool endpointIsDefault =
        options_.endpoint == bridge::systemEndpoint() || options_.endpoint == bridge::privateEndpoint();
    if (endpointIsDefault) makeEndpointFolder(options_.endpoint);

    bridge::server::Options bridgeOptions;
    bridgeOptions.service = std::string("panelkitd ") + PANELKIT_VERSION;
    bridgeOptions.listen.users = options_.usersGroup;
    bridgeOptions.listen.inherited = options_.inheritedSocket;
    bridgeOptions.grace = options_.stopGrace;
    bridgeOptions.connections = limits::connections;
    bridgeOptions.receivers = limits::receivers;
    bridgeOptions.transfers = limits::transfers;
    bridge::server::Server server(options_.endpoint, dispatcher_, bridgeOptions);
    const AnnouncingThrough announcing(announcer_, server);
    termination.setLimit(options_.stopGrace + limits::timeToLeave);
    std::atomic<Clock::time_point> deadline{Clock::time_point::max()};
    termination.whenAsked([&] {
        deadline = Clock::now() + options_.stopGrace;
        logEvent("asked to end");
        tellServiceManager(ServicePhase::stopping);
        announcer_.announceServiceStopping();
        server.stop();
    });
    logEvent(bridgeOptions.service + " serves " + options_.endpoint);
    tellServiceManager(ServicePhase::serving);
    const bool ended = server.run();
    if (!ended || !stopWatches(deadline)) abandonProcess(); // the server must not be destroyed under a command
    termination.awaitReaction();
}

// A watch may wait for a module that hangs. After the time that commands get, the modules are ended, so that the watch
// can stop.
bool Daemon::stopWatches(Clock::time_point deadline) {
    if (watchesStopBefore(deadline)) return true;
    providers_.killModules();
    return watchesStopBefore(Clock::now() + std::chrono::milliseconds(500));
}

bool Daemon::watchesStopBefore(Clock::time_point deadline) {
    const auto left = [deadline] {
        const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        return std::max(time, std::chrono::milliseconds(100));
    };
    const bool tokens = tokenWatcher_.stop(left());
    const bool credentials = credentials_.stop(left());
    return expiryWatch_.stop(left()) && tokens && credentials;
}

} // namespace panelkitd
