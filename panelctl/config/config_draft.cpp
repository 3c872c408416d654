// SPDX-License-Identifier: MIT
#include <panelctl/config/config_draft.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/interruption.h>
#include <panelctl/base/say.h>

#include <platform/text/join.h>

namespace panelctl {

using panelkit::SectionFailure;
using Outcome = panelkit::TransactionResult::Outcome;

SectionBody& ConfigDraft::section(const char* name) {
    if (SectionBody* const body = transaction_.section(name)) return *body;
    throw errorOf(transaction_.failure());
}

SectionValue ConfigDraft::at(const Place& place) {
    const SectionBody& body = section(place.group->name);
    return body[body.indexOf(place.param->key)];
}

std::vector<Change> ConfigDraft::changes() const {
    if (const auto broken = transaction_.brokenConstraint()) throw errorOf(*broken);
    return transaction_.changes();
}

// ---- errors

CommandError errorOf(const SectionFailure& failure) {
    const std::string start = failure.section.empty() ? "" : failure.section + ": ";
    switch (failure.why) {
    case SectionFailure::Why::endsEarly: return {Exit::connectionLost, start + incompleteReplyText()};
    case SectionFailure::Why::goesOn:
        return {Exit::strangeService, say("section %s has more parameters than this panelctl knows; do "
                                          "panelctl and the service have the same version?",
                                          failure.section)};
    case SectionFailure::Why::constraint: return {Exit::malformedValue, start + failure.text};
    case SectionFailure::Why::otherValue:
        return {Exit::refused, say("%s: the service accepted the value, but holds \"%s\"",
                                   failure.section + '.' + failure.param->key, failure.text)};
    case SectionFailure::Why::stopped: return interruptedError();
    case SectionFailure::Why::command:
    case SectionFailure::Why::nothing: break;
    }
    const CommandError error = failureError(failure.command);
    return {error.code, start + error.what()};
}

void requireConstraints(const SectionBody& body) {
    const std::string message = body.brokenConstraint();
    if (message.empty()) return;
    throw errorOf({.why = SectionFailure::Why::constraint, .section = body.section().name, .text = message});
}

panelkit::TransactionResult ConfigDraft::write(panelkit::Commit commit) {
    const HeldInterruption interruption; // so that nobody's Ctrl-C leaves half of it
    panelkit::TransactionResult result = transaction_.apply(commit, [] { return !HeldInterruption::came(); });
    if (result.isDone() || result.outcome == Outcome::notCommitted) return result;
    const CommandError cause = errorOf(result.cause);
    const std::string why = cause.what();
    if (result.outcome == Outcome::notRestored) {
        throw CommandError(Exit::notRestored,
                           say("%s; these sections could NOT be restored: %s", why, platform::joined(result.lost)));
    }
    if (result.outcome == Outcome::restored) {
        throw CommandError(Exit::restored, say("%s; the sections that were already written have been restored: %s", why,
                                               platform::joined(result.restored)));
    }
    throw CommandError(cause.code, say("%s; nothing was changed", why));
}

} // namespace panelctl
