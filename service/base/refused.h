// SPDX-License-Identifier: MIT
//
// Why a command is not carried out, and remarks on an answer. Each is a number and a wording with its arguments; first
// what happened, then why. They are sent in this form, and front ends translate them.
//
//   throw RefusedError(Refused::noSuchProvider, "there is no provider \"%s\"", name);
//   throw RefusedError(Refused::notStored, "the configuration can't be stored").because(error);
#pragma once

#include <platform/bridge/messages.h>
#include <platform/loccore/phrase.h>
#include <vocabulary/refusals.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

using Remarks = std::vector<bridge::Remark>;

template <Loc::Argument... Arguments>
bridge::Remark remark(vocabulary::Refused code, Loc::Wording<Loc::kindOf<Arguments>...> wording,
                      const Arguments&... arguments) {
    return {static_cast<std::uint32_t>(code), Loc::makePhrase(wording, arguments...)};
}

// For the log and the audit line, and for replies whose fields are texts.
inline std::string inEnglish(const Remarks& remarks) { return Loc::fill(bridge::phrasesOf(remarks)); }

// An error with at least one remark. what() has them in English.
class ExplainedError : public std::runtime_error {
public:
    explicit ExplainedError(Remarks why) : std::runtime_error(inEnglish(why)), remarks(std::move(why)) {}

    Remarks remarks;
};

// The remarks of an error; without remarks its text, which is not translated.
Remarks explained(const std::exception& error);

// Thrown by a module that does not carry out a command.
class RefusedError : public ExplainedError {
public:
    // The first remark says what is refused; its number is the reason.
    explicit RefusedError(Remarks why);
    // With another number than that of the first remark.
    RefusedError(vocabulary::Refused number, Remarks why);

    // Explicit, so that callers write the class name before the wording: xgettext searches for it.
    template <Loc::Argument... Arguments>
    explicit RefusedError(vocabulary::Refused why, Loc::Wording<Loc::kindOf<Arguments>...> wording,
                          const Arguments&... arguments)
        : RefusedError(Remarks{remark(why, wording, arguments...)}) {}

    // Returns the same error with the cause added.
    RefusedError because(const Remarks& cause) const;
    RefusedError because(const std::exception& cause) const { return because(explained(cause)); }

    vocabulary::Refused reason;
};

// Thrown by a module when this caller may not use the command.
class DeniedError : public ExplainedError {
public:
    template <Loc::Argument... Arguments>
    explicit DeniedError(Loc::Wording<Loc::kindOf<Arguments>...> wording, const Arguments&... arguments)
        : ExplainedError({remark(vocabulary::Refused::none, wording, arguments...)}) {}
};

} // namespace panelkitd
