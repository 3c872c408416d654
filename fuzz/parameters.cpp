// SPDX-License-Identifier: MIT
//
// "SECTION.KEY=text", as people type it and as in files: the text is refused with an error that names the place, or
// accepted, and then reading the printed value returns the same value.
#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using panelkit::TextForm;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto* const groups = new panelkit::AllGroups;
    const std::string line(data, data + size);
    const std::size_t equals = line.find('=');
    panelkit::Place place;
    if (const auto error = findByName(*groups, line.substr(0, equals), place)) {
        if (describe(*error).empty()) std::abort();
        return 0;
    }
    if (equals == std::string::npos) return 0;
    const std::string text = line.substr(equals + 1);
    for (const TextForm form : {TextForm::display, TextForm::stored}) {
        panelkit::resetParam(*place.param);
        if (const auto error = parseParam(*place.group, *place.param, text, form)) {
            if (describe(*error).empty() || error->section.empty() || error->key.empty()) std::abort();
            continue;
        }
        const std::string printed = printParam(*place.param, form);
        panelkit::resetParam(*place.param);
        if (parseParam(*place.group, *place.param, printed, form)) std::abort();
        if (printParam(*place.param, form) != printed) std::abort();
    }
    return 0;
}
