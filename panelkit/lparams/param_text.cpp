// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_text.h>

#include <panelkit/format/nearest.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/kind_row.h>

#include <platform/loccore/phrase.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace panelkit {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using std::string_view;

bool isSecret(string_view section, string_view key) {
    static constexpr std::pair<string_view, string_view> secrets[] = {
        {"CERTMON", "SMTP_PASSWORD"},
        {"IKE", "QCD_SECRET"},
    };
    return std::find(std::begin(secrets), std::end(secrets), std::pair(section, key)) != std::end(secrets);
}

std::string printParam(const Param& param, TextForm form) {
    std::string value = kindOf(param).valueOf(param);
    const platform::WipeOnExit wiped(value);
    return kindOf(param).print(param, value, form);
}

std::string showParam(const ParamGroup& group, const Param& param) {
    return maskSecret(group, param, printParam(param));
}

std::string maskSecret(const ParamGroup& group, const Param& param, std::string text) {
    const auto isWord = kindOf(param).isWord;
    const bool shows = !isSecret(group.name, param.key) || text.empty() || (isWord && isWord(text));
    if (shows) return text;
    platform::wipe(text);
    return secretMask;
}

std::string printDefault(const Param& param, TextForm form) {
    return kindOf(param).print(param, kindOf(param).defaultOf(param), form);
}

void resetParam(Param& param) { kindOf(param).assign(param, kindOf(param).defaultOf(param)); }

std::optional<ParamError> parseParam(const ParamGroup& group, Param& param, string_view text, TextForm form) {
    // The value may come from the service and break bounds and formats.
    std::string present = printParam(param, form);
    const platform::WipeOnExit wipedPresent(present);
    if (text == present) return std::nullopt;
    auto value = kindOf(param).read(param, text, form);
    if (!value) return errorFor(group, param, text, form);
    const platform::WipeOnExit wipedValue(*value);
    kindOf(param).assign(param, *value);
    return std::nullopt;
}

ParamError errorFor(const ParamGroup& group, const Param& param, string_view illegalText, TextForm form) {
    ParamError error{group.name, param.key, secretMask, legalValues(param, form), "", ""};
    if (!isSecret(group.name, param.key)) {
        error.text = illegalText;
        error.nearest = kindOf(param).nearest(param, illegalText, form);
    }
    return error;
}

std::string legalValues(const Param& param, TextForm form) { return kindOf(param).legal(param, form); }

std::string describe(const ParamError& error) {
    const std::string place = error.section + (error.key.empty() ? "" : '.' + error.key);
    const Loc::Phrase problem{registeredText("\"%s\" is not legal; legal: %s"), {error.text, error.legal}};
    const Loc::Phrase hint{registeredText("; nearest: %s"), {error.nearest}};
    return place + (place.empty() ? "" : ": ") + Loc::fill(problem) + (error.nearest.empty() ? "" : Loc::fill(hint));
}

} // namespace panelkit
