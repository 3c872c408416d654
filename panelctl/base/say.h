// SPDX-License-Identifier: MIT
//
// panelctl's texts for people. They are written in English where they are used, and translated when they are shown:
//
//   printNote(say("there is no provider \"%s\"", name));
//   printNote(sayPlural("%d error", "%d errors", count, count));
//
// In a table a text is marked, and is translated when it is taken from the table:
//
//   struct Row { State state; Label text; };
//   constexpr std::array rows{Row{State::ready, N_("ready")}, ...};
//   printLine(say(row.text));
//
// The compiler checks the arguments; platform/loccore/phrase.h explains the places. xgettext finds texts by the names
// say, sayPlural and N_, so these take literals only. po/README.md explains how texts are translated.
#pragma once

#include <platform/loccore/messages.h>
#include <platform/loccore/phrase.h>

#include <array>
#include <cstdint>
#include <string>

namespace panelctl {

using Loc::N_;
using Label = Loc::MarkedWording<>;

// The translation that is shown; language.h loads it.
Loc::Messages& messages();

template <Loc::Argument... Arguments>
std::string say(Loc::Wording<Loc::kindOf<Arguments>...> wording, const Arguments&... arguments) {
    const std::array<std::string, sizeof...(Arguments)> texts{Loc::argumentText(arguments)...};
    return Loc::fill(messages().translated(wording.text()), texts);
}

// The form of the text for `number`. The number is filled in only if it is one of the arguments too.
template <Loc::Argument... Arguments>
std::string sayPlural(Loc::Wording<Loc::kindOf<Arguments>...> one, Loc::Wording<Loc::kindOf<Arguments>...> many,
                      std::uint64_t number, const Arguments&... arguments) {
    const std::array<std::string, sizeof...(Arguments)> texts{Loc::argumentText(arguments)...};
    return Loc::fill(messages().translated(one.text(), many.text(), number), texts);
}

// The end of a message that suggests a name: "; did you mean \"list\"?". Empty when `name` is.
std::string didYouMean(const std::string& name);

} // namespace panelctl
