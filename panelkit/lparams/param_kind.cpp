// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_kind.h>

#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/kind_row.h>

#include <algorithm>
#include <iterator>

namespace panelkit {

namespace kinds {

const ParamKind* find(const Param& param) {
    static constexpr const ParamKind* rows[] = {
        &flagKind, &portKind,      &numberKind,   &addressKind, &choiceKind,
        &timeKind, &qcdSecretKind, &gatewaysKind, &textKind,
    };
    // A set of processors is a text with a format of its own; the wire has one code for both.
    if (dynamic_cast<const LPARAMS::Client::CPUsParam*>(&param)) return &processorsKind;
    const auto* const found = std::find_if(std::begin(rows), std::end(rows),
                                           [code = param.type()](const auto* row) { return row->code == code; });
    return found == std::end(rows) ? nullptr : *found;
}

} // namespace kinds

const ParamKind& kindOf(const LPARAMS::Client::Param& param) {
    if (const ParamKind* kind = kinds::find(param)) return *kind;
    throw std::invalid_argument(std::string(param.key) + " is not of a kind of the library's");
}

} // namespace panelkit
