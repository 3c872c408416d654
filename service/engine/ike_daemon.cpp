// SPDX-License-Identifier: MIT
#include <service/engine/ike_daemon.h>

#include <service/base/log.h>
#include <service/engine/engine.h>
#include <service/engine/packet_filter.h>
#include <service/engine/vici_connection.h>

#include <platform/system/files.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace panelkitd {

using std::chrono::milliseconds;
using vocabulary::Refused;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto timeToStart = std::chrono::seconds(10);
constexpr auto timeToEnd = std::chrono::seconds(3);
constexpr std::size_t longestSocket = 100; // the system's limit is a little above

constexpr const char* plugins =
    "random nonce drbg openssl aes gcm ccm ctr chapoly sha1 sha2 hmac kdf mgf1 cmac gmp curve25519 pem pkcs1 pkcs8 "
    "x509 pubkey pkcs11 constraints revocation vici";

EngineError failure(bridge::Remark why) {
    return EngineError({remark(Refused::none, "the IKE daemon can't be used"), std::move(why)});
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) {
            throw failure(remark(Refused::none, "the path \"%s\" has a control character", text));
        }
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string optionLines(const EngineParameters& parameters) {
    ViciSection options;
    addParameters(parameters, vocabulary::ParameterMoment::settings, options);
    addParameters(parameters, vocabulary::ParameterMoment::start, options);
    std::string lines;
    for (const ViciItem& item : options.items) {
        lines += "  " + item.name + " = " + std::get<std::string>(item.value) + '\n';
    }
    return lines + "  follow_redirects = " + (followsRedirects(parameters) ? "yes" : "no") + '\n';
}

std::string moduleLines(const IkeDaemonSettings& settings) {
    std::string lines;
    for (const EngineModule& module : settings.modules) {
        lines += "        " + moduleName(settings, module.path) + " {\n          path = " + quoted(module.path) +
                 "\n          load_certs = no\n          os_locking = yes\n        }\n";
    }
    return lines;
}

} // namespace

std::string moduleName(const IkeDaemonSettings& settings, const std::string& path) {
    const auto& modules = settings.modules;
    const auto found = std::find_if(modules.begin(), modules.end(), [&](const auto& m) { return m.path == path; });
    return found == modules.end() ? std::string() : "m" + std::to_string(found - modules.begin());
}

std::string daemonConfiguration(const IkeDaemonSettings& settings, const std::string& socket) {
    const std::string mark = std::to_string(settings.mark);
    // The routes into tunnels are for packets that have neither this mark nor markBeside(), which differ in one bit.
    const std::uint32_t both = ~(settings.mark ^ markBeside(settings.mark));
    const std::string beside = "!" + std::to_string(settings.mark & both) + "/" + std::to_string(both);
    return "# Written by panelkitd at each start of the IKE daemon.\n"
           "charon-systemd {\n"
           "  load = " +
           std::string(plugins) + (settings.espInUserSpace ? " kernel-libipsec" : "") +
           " kernel-netlink socket-default\n"
           "  journal {\n    default = -1\n  }\n"
           "  filelog {\n    stderr {\n      default = 0\n    }\n  }\n" +
           optionLines(settings.parameters) + "  plugins {\n    vici {\n      socket = " + quoted("unix://" + socket) +
           "\n    }\n    socket-default {\n      fwmark = " + mark +
           "\n    }\n    kernel-netlink {\n      fwmark = " + beside +
           "\n    }\n    kernel-libipsec {\n      allow_peer_ts = yes\n    }\n    pkcs11 {\n      modules {\n" +
           moduleLines(settings) + "      }\n    }\n  }\n}\n";
}

OwnIkeDaemon::OwnIkeDaemon(std::string folder, std::string program)
    : folder_(std::move(folder)), program_(std::move(program)), socket_(folder_ + "/vici") {
    if (socket_.size() > longestSocket) {
        throw failure(remark(Refused::none, "the path of its control socket, %s, is longer than %d bytes", socket_,
                             longestSocket));
    }
    endLeftOver(folder_ + "/charon.conf");
    requireFreePorts();
}

OwnIkeDaemon::~OwnIkeDaemon() { stop(); }

void OwnIkeDaemon::configure(const IkeDaemonSettings& settings) const {
    try {
        platform::updateOwnFile(folder_ + "/charon.conf", daemonConfiguration(settings, socket_));
    } catch (const platform::FileError& error) {
        throw failure({static_cast<std::uint32_t>(Refused::notStored), Loc::makePhrase("%s", error.what())});
    }
}

void OwnIkeDaemon::start(const IkeDaemonSettings& settings) {
    stop();
    requireFreePorts();
    configure(settings);
    platform::ChildOptions options;
    options.arguments = {program_};
    for (const EngineModule& module : settings.modules) {
        for (const auto& [name, value] : module.environment) options.environment[name] = value;
    }
    options.environment["STRONGSWAN_CONF"] = folder_ + "/charon.conf";
    options.environment["NOTIFY_SOCKET"] = std::nullopt; // only the service itself talks to the service manager
    try {
        child_ = std::make_unique<platform::ChildProcess>(options);
    } catch (const std::exception& error) {
        throw failure(remark(Refused::none, "%s", error.what()));
    }
    awaitSocket();
    logEvent("the IKE daemon runs, process " + std::to_string(child_->id()));
}

void OwnIkeDaemon::awaitSocket() {
    const auto deadline = Clock::now() + timeToStart;
    for (;;) {
        try {
            ViciConnection(socket_, milliseconds(2000)).request("version");
            return;
        } catch (const std::exception& error) {
            const bool ended = !runs();
            if (!ended && Clock::now() < deadline) {
                std::this_thread::sleep_for(milliseconds(20));
                continue;
            }
            const std::string words = lastWords();
            stop();
            if (ended) throw failure(remark(Refused::none, "%s ended at once: %s", program_, words));
            throw failure(remark(Refused::none, "%s", error.what()));
        }
    }
}

std::unique_ptr<ViciConnection> OwnIkeDaemon::connect(milliseconds patience) const {
    return std::make_unique<ViciConnection>(socket_, patience);
}

std::string OwnIkeDaemon::lastWords() const {
    if (!child_) return {};
    std::string words = child_->errorSoFar();
    while (!words.empty() && words.back() == '\n') words.pop_back();
    const std::size_t line = words.rfind('\n');
    return (line == words.npos ? words : words.substr(line + 1)).substr(0, 500);
}

void OwnIkeDaemon::stop() {
    if (!child_) return;
    child_->terminate();
    child_->wait(timeToEnd);
    child_.reset();
}

// ---- a daemon that is not ours

PresentIkeDaemon::PresentIkeDaemon(const std::string& folder, std::string socket) : socket_(std::move(socket)) {
    endLeftOver(folder + "/charon.conf");
    requireSocketOfRoot(socket_);
}

std::unique_ptr<ViciConnection> PresentIkeDaemon::connect(milliseconds patience) const {
    requireSocketOfRoot(socket_);
    auto connection = std::make_unique<ViciConnection>(socket_, patience);
    if (connection->peer().superuser) return connection;
    throw failure(remark(Refused::none, "the program at the socket %s does not run as root", socket_));
}

void PresentIkeDaemon::start(const IkeDaemonSettings& settings) {
    try {
        const ViciSection stats = connect(milliseconds(2000))->request("stats");
        const std::vector<std::string>* loaded = stats.list("plugins");
        const bool inUserSpace =
            loaded && std::find(loaded->begin(), loaded->end(), "kernel-libipsec") != loaded->end();
        if (inUserSpace == settings.espInUserSpace) return;
    } catch (const ViciError& error) {
        throw failure(remark(Refused::none, "%s", error.what()));
    } catch (const ViciRefusal& refusal) {
        throw failure(remark(Refused::none, "%s", refusal.what()));
    }
    throw failure(settings.espInUserSpace
                      ? remark(Refused::none,
                               "the kernel has no ESP, and the IKE daemon at %s does not have its plugin "
                               "kernel-libipsec",
                               socket_)
                      : remark(Refused::none,
                               "the kernel has ESP, but the IKE daemon at %s has its plugin "
                               "kernel-libipsec, which takes its place",
                               socket_));
}

} // namespace panelkitd
