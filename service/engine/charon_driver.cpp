// SPDX-License-Identifier: MIT
#include <service/engine/charon_driver.h>

#include <service/base/log.h>

#include <platform/system/clock.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using std::chrono::seconds;
using vocabulary::Refused;

namespace {

constexpr auto lasted = seconds(60); // after that, a daemon that dies is started again at once
constexpr seconds startPauses[] = {seconds(0), seconds(1), seconds(2), seconds(5), seconds(15), seconds(30)};

void loadOrThrow(IkeControl& control, const IkeConnection& connection) {
    try {
        if (!connection.lacks) control.load(connection);
    } catch (const ViciRefusal& refusal) {
        throw notInForce(connection, {plainRemark(refusal)});
    }
}

// Parameters that the daemon reads only at its start.
ViciSection startOptions(const EngineParameters& parameters) {
    ViciSection options;
    addParameters(parameters, vocabulary::ParameterMoment::start, options);
    return options;
}
std::string textOf(const ViciSection& options) { return encodeVici({ViciPacketType::response, {}, options}); }

bool needsStart(const IkeDaemonSettings& running, const IkeDaemonSettings& wanted) {
    return running.modules != wanted.modules ||
           textOf(startOptions(running.parameters)) != textOf(startOptions(wanted.parameters));
}

std::unique_ptr<IkeDaemon> daemonOf(const std::string& folder, const std::string& program, const std::string& socket) {
    if (!socket.empty()) return std::make_unique<PresentIkeDaemon>(folder, socket);
    return std::make_unique<OwnIkeDaemon>(folder, program);
}

} // namespace

// ---- the daemon

CharonDriver::CharonDriver(Settings settings, TunnelBoard& board, std::function<void()> changed)
    : settings_(std::move(settings)),
      board_(board),
      changed_(std::move(changed)),
      daemon_(daemonOf(settings_.folder, settings_.program, settings_.socket)),
      keys_(board) {}

IkeDaemonSettings CharonDriver::daemonSettings(const EngineWishes& wishes) const {
    if (!daemon_->isOurs()) return {settings_.espInUserSpace, settings_.mark, {}, {}}; // what we can't choose
    return {settings_.espInUserSpace, settings_.mark, wishes.credentials.modules, wishes.parameters};
}

IkeControl& CharonDriver::control() {
    if (!control_ || !daemon_->runs()) throw EngineError({remark(Refused::none, "the IKE daemon does not run")});
    return *control_;
}

void CharonDriver::drop() noexcept {
    try {
        const bool answers = control_ && listener_ && !listener_->ended();
        if (answers && !daemon_->isOurs()) control_->withdraw();
    } catch (const std::exception& error) {
        logFailure("the IKE daemon keeps what it was given", error);
    }
    listener_.reset();
    control_.reset();
    daemon_->stop();
}

void CharonDriver::start(const IkeDaemonSettings& wanted) {
    if (Clock::now() < nextStart_) {
        throw EngineError({problem_.value_or(remark(Refused::none, "the IKE daemon is started again soon"))});
    }
    if (startedAt_ + lasted < Clock::now()) starts_ = 0;
    nextStart_ = Clock::now() + pauseAfter(starts_++, startPauses);
    startedAt_ = Clock::now();
    daemon_->start(wanted);
    running_ = wanted;
    listener_ = std::make_unique<DaemonListener>(
        daemon_->connect(settings_.patience),
        DaemonListener::Handlers{[this](const std::string& name, const std::string& line) { board_.heard(name, line); },
                                 changed_});
    control_ = std::make_unique<IkeControl>(daemon_->connect(settings_.patience),
                                            daemon_->isOurs() ? "" : settings_.folder + "/keys-of-others");
    control_->forgetFormer();
    if (settings_.espInUserSpace) espProposals_ = control_->espProposals();
    attempts_.clear();
    keys_.forgetRefusals();
}

// After a ViciError nothing is known of the daemon, so it was dropped (see work()).
void CharonDriver::ensureRunning(const EngineWishes& wishes) {
    const IkeDaemonSettings wanted = daemonSettings(wishes);
    const bool runs = control_ && daemon_->runs() && !listener_->ended();
    if (runs && !needsStart(running_, wanted)) {
        if (running_ == wanted) return;
        daemon_->configure(wanted);
        control_->reloadSettings();
        running_ = wanted;
        return;
    }
    const bridge::Remark why =
        runs                ? remark(Refused::none, "the IKE daemon is started again, with other modules or parameters")
        : daemon_->isOurs() ? remark(Refused::none, "the IKE daemon has ended and is started again")
                            : remark(Refused::none, "the IKE daemon has ended, or has closed the connection");
    if (runs) {
        logEvent(inEnglish({why}));
        nextStart_ = {};
    } else if (control_) {
        problem_ = why;
        const std::string words = daemon_->lastWords();
        logError(inEnglish({why}) + (words.empty() ? "" : "; it said last: " + words));
    }
    board_.startedAgain(why);
    drop();
    start(wanted);
}

void CharonDriver::checkAnchors(const EngineWishes& wishes) {
    if (valueOf(wishes.parameters, "IKE.CRL_PROCESSING") != 0) control_->forgetReplacedCrls(wishes.credentials.crls);
    unfitAnchors_.clear();
    for (const std::string& anchor : wishes.credentials.anchors) {
        if (!control_->takesAnchor(anchor)) unfitAnchors_.insert(anchor);
    }
}

// ---- plans

IkePlan CharonDriver::plan(std::shared_ptr<const PolicyText> text, const EngineWishes& wishes) const {
    const IkeOptions options{settings_.espInUserSpace, espProposals_, settings_.mark, wishes.parameters,
                             platform::secondsNow()};
    IkePlan plan;
    EngineCredentials credentials = wishes.usable();
    std::erase_if(credentials.anchors, [this](const std::string& anchor) { return unfitAnchors_.contains(anchor); });
    plan.connections = ikeConnections(*text, credentials, options);
    plan.text = std::move(text);
    return plan;
}

void CharonDriver::prepare(IkePlan& plan, const EngineWishes& wishes) {
    former_ = control_ ? control_->loaded() : IkeControl::Loaded();
    if (plan.connections.empty()) return;
    try {
        ensureRunning(wishes);
        former_ = control_->loaded();
        checkAnchors(wishes);
        plan = this->plan(plan.text, wishes);
        keys_.load(*control_, running_, {&plan_, &plan}, wishes);
        for (const IkeConnection& connection : plan.connections) loadOrThrow(*control_, connection);
        problem_.reset();
    } catch (const ViciError& error) {
        drop();
        throw EngineError({plainRemark(error)});
    } catch (const EngineError&) {
        takeBack();
        throw;
    }
}

void CharonDriver::takeBack() noexcept {
    try {
        if (control_) control_->restore(former_);
    } catch (const std::exception& error) {
        logFailure("the IKE daemon", error);
        drop();
    }
}

void CharonDriver::adopt(IkePlan plan) noexcept {
    plan_ = std::move(plan);
    try {
        attempts_.clear();
        if (control_) keepOnlyPlan(former_, remark(Refused::none, "its section in the policy has changed"));
        if (!plan_.connections.empty()) return;
        drop();
        starts_ = 0; // it did not die
        nextStart_ = {};
    } catch (const std::exception& error) {
        logFailure("the IKE daemon", error);
        drop(); // so the tunnels that are to go are gone
    }
}

// What is in its section has changed, or what the tokens or the parameters say of the connection.
void CharonDriver::keepOnlyPlan(const IkeControl::Loaded& former, const bridge::Remark& why) {
    const bridge::Remark others = remark(Refused::none, "a certificate or a parameter that it uses has changed");
    for (const IkeControl::Ended& ended : control_->keepOnly(plan_.connections, former)) {
        board_.ended(ended.connection, ended.section, ended.section.empty() ? others : why);
    }
}

// ---- tunnels

void CharonDriver::load(const IkeConnection& connection) {
    try {
        if (!connection.lacks) control_->load(connection);
    } catch (const ViciRefusal& refusal) {
        board_.failed(connection.name, plainRemark(refusal));
    }
}

// The daemon looks into its revocation lists only when a gateway proves its identity. So a gateway has to do that again
// when there is a new list, which may name it.
void CharonDriver::endUnproved() {
    if (!control_->hadNewCrls()) return;
    for (const IkeConnection& connection : plan_.connections) {
        if (connection.byPresharedKey) continue;
        control_->endConnection(connection.name);
        board_.ended(connection.name, {},
                     remark(Refused::none, "the gateway has to prove its identity again, since a token has a new "
                                           "revocation list"));
    }
}

// What was read of the tokens since the last round may change the connections, for example their certificates.
std::vector<TunnelNews> CharonDriver::work(const EngineWishes& wishes) {
    ensureRunning(wishes);
    const IkeControl::Loaded former = control_->loaded();
    checkAnchors(wishes);
    plan_ = plan(plan_.text, wishes);
    keys_.load(*control_, running_, {&plan_}, wishes);
    for (const IkeConnection& connection : plan_.connections) load(connection);
    keepOnlyPlan(former, remark(Refused::none, "a certificate or a parameter that it uses has changed"));
    endUnproved();
    board_.setPlan(plan_.connections, false);
    const IkeStates states = control_->states();
    setUpMissing(states);
    problem_.reset();
    return board_.update(states);
}

std::vector<TunnelNews> CharonDriver::round(const EngineWishes& wishes) {
    if (plan_.connections.empty()) return board_.update({});
    try {
        return work(wishes);
    } catch (const ViciError& error) {
        logFailure("the IKE daemon", error);
        problem_ = plainRemark(error);
        drop();
    } catch (const ExplainedError& error) {
        if (!problem_) logFailure("the IKE daemon", error);
        problem_ = error.remarks.back();
    }
    return board_.daemonIsDown(*problem_);
}

} // namespace panelkitd
