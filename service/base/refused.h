// SPDX-License-Identifier: MIT
//
// Why something is not done, or what is to be said of it: remarks, each of them a number and a wording with its
// arguments, first what and then why. They travel as they are; front ends translate them.
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

// An error with its remarks, of which there is at least one. what() has them in English.
class ExplainedError : public std::runtime_error {
public:
    explicit ExplainedError(Remarks why) : std::runtime_error(inEnglish(why)), remarks(std::move(why)) {}

    Remarks remarks;
};

// What is known of an error: its remarks, or its text, which nobody translates.
Remarks explained(const std::exception& error);

// What a module throws when it does not carry out a command.
class RefusedError : public ExplainedError {
public:
    // The first remark says what is refused; its number is the reason.
    explicit RefusedError(Remarks why);
    // With another number than that of the first remark.
    RefusedError(vocabulary::Refused number, Remarks why);

    // Explicit, so that the name stands before the wording: xgettext finds it by that.
    template <Loc::Argument... Arguments>
    explicit RefusedError(vocabulary::Refused why, Loc::Wording<Loc::kindOf<Arguments>...> wording,
                          const Arguments&... arguments)
        : RefusedError(Remarks{remark(why, wording, arguments...)}) {}

    // The same, and after it the cause.
    RefusedError because(const Remarks& cause) const;
    RefusedError because(const std::exception& cause) const { return because(explained(cause)); }

    vocabulary::Refused reason;
};

// What a module throws when the command is fine, and this caller may not give it.
class DeniedError : public ExplainedError {
public:
    template <Loc::Argument... Arguments>
    explicit DeniedError(Loc::Wording<Loc::kindOf<Arguments>...> wording, const Arguments&... arguments)
        : ExplainedError({remark(vocabulary::Refused::none, wording, arguments...)}) {}
};

} // namespace panelkitd
