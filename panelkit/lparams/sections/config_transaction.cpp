// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections/config_transaction.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/lparams/param_group.h>
#include <panelkit/lparams/sections/sections.h>

#include <platform/system/wipe.h>

#include <algorithm>

namespace panelkit {

using LPARAMS::Client::ParamGroup;
using Outcome = TransactionResult::Outcome;
using Why = SectionFailure::Why;

namespace {

SectionFailure failedCommand(const char* section) {
    return {.why = Why::command, .section = section, .command = bridge::lastFailure()};
}

std::optional<SectionBody> read(const ParamGroup& section, SectionFailure& failure) {
    std::string reply;
    const platform::WipeOnExit wiped(reply);
    if (!DirectCommand<Command::ReadGroup>().with(std::string_view(section.name)).send(&reply)) {
        failure = failedCommand(section.name);
        return std::nullopt;
    }
    try {
        return SectionBody(section, reply);
    } catch (const BodyError& error) {
        const Why why = error.why == BodyError::Why::goesOn ? Why::goesOn : Why::endsEarly;
        failure = {.why = why, .section = section.name, .text = error.what()};
        return std::nullopt;
    }
}

bool write(const SectionBody& body, SectionFailure& failure) {
    DirectCommand<Command::WriteGroup> command;
    command.with(std::string_view(body.section().name), Encoded{body.bytes()});
    if (!command.send()) {
        failure = failedCommand(body.section().name);
        return false;
    }
    LPARAMS::Client::traceChange();
    return true;
}

// Returns the first parameter whose bytes differ; size() when there is none. A secret that is left to the service may
// be made by now, which is not a difference.
std::size_t firstDifference(const SectionBody& wanted, const SectionBody& found) {
    std::size_t i = 0;
    while (i < wanted.size() && (wanted[i].stored == found[i].stored || wanted[i].isLeftToService())) ++i;
    return i;
}

// Writes a body and reads it back.
bool writeAndCheck(const SectionBody& wanted, SectionFailure& failure) {
    if (!write(wanted, failure)) return false;
    const auto found = read(wanted.section(), failure);
    if (!found) return false;
    const std::size_t other = firstDifference(wanted, *found);
    if (other == wanted.size()) return true;
    const SectionValue held = (*found)[other];
    failure = {.why = Why::otherValue, .section = held.section->name, .param = held.param, .text = held.show()};
    return false;
}

bool isChanged(const SectionBody& before, const SectionBody& after) {
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (!before[i].isSameAs(after[i])) return true;
    }
    return false;
}

using Bodies = std::vector<const SectionBody*>;

// Restores these bodies in the service. A write that failed may have had effect, so every section on which a write was
// begun is checked.
TransactionResult undo(const Bodies& begun, SectionFailure cause) {
    TransactionResult result{Outcome::untouched, std::move(cause)};
    std::for_each(begun.rbegin(), begun.rend(), [&](const SectionBody* before) {
        SectionFailure ignored;
        const auto held = read(before->section(), ignored);
        if (held && *held == *before) return;
        const bool isBack = held && writeAndCheck(*before, ignored);
        (isBack ? result.restored : result.lost).emplace_back(before->section().name);
    });
    if (!result.restored.empty()) result.outcome = Outcome::restored;
    if (!result.lost.empty()) result.outcome = Outcome::notRestored;
    return result;
}

} // namespace

ConfigTransaction::ConfigTransaction() = default;
ConfigTransaction::~ConfigTransaction() = default;

SectionBody* ConfigTransaction::section(std::string_view name) {
    const ParamGroup* const section = allGroups().find(name, "").group;
    if (!section) throw std::invalid_argument("there is no section " + std::string(name));
    if (const auto known = drafts_.find(section->name); known != drafts_.end()) return &known->second.after;
    auto body = read(*section, failure_);
    if (!body) return nullptr;
    return &drafts_.emplace(section->name, Draft{*body, *body}).first->second.after;
}

std::vector<ConfigTransaction::Change> ConfigTransaction::changes() const {
    std::vector<Change> changes;
    for (const auto& [name, draft] : drafts_) {
        for (std::size_t i = 0; i < draft.before.size(); ++i) {
            const SectionValue from = draft.before[i], to = draft.after[i];
            if (!from.isSameAs(to)) changes.push_back({from, to});
        }
    }
    return changes;
}

std::optional<SectionFailure> ConfigTransaction::brokenConstraint() const {
    for (const auto& [name, draft] : drafts_) {
        if (!isChanged(draft.before, draft.after)) continue;
        const std::string message = draft.after.brokenConstraint();
        if (!message.empty()) {
            return SectionFailure{.why = Why::constraint, .section = std::string(name), .text = message};
        }
    }
    return std::nullopt;
}

TransactionResult ConfigTransaction::apply(Commit commit, const std::function<bool()>& goesOn) {
    if (auto broken = brokenConstraint()) return {Outcome::untouched, *std::move(broken)};
    const auto stops = [&] { return goesOn && !goesOn(); };
    Bodies begun;
    SectionFailure failure;
    for (const auto& [name, draft] : drafts_) {
        if (!isChanged(draft.before, draft.after)) continue;
        if (stops()) return undo(begun, {.why = Why::stopped});
        begun.push_back(&draft.before);
        if (!writeAndCheck(draft.after, failure)) return undo(begun, std::move(failure));
    }
    if (!begun.empty() && stops()) return undo(begun, {.why = Why::stopped});
    if (commit == Commit::yes && !LPARAMS::Client::writeToDisk()) return {Outcome::notCommitted, failedCommand("")};
    return {begun.empty() ? Outcome::nothingToDo : Outcome::applied};
}

} // namespace panelkit
