// SPDX-License-Identifier: MIT
//
// A body of a configuration section as a service may send it, any bytes: reading throws or fills the group, and every
// value that it then has can be printed and written. The first byte chooses the section.
#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const auto group = panelkit::sections()[data[0] % panelkit::sections().size()].make();
    const std::string body(data + 1, data + size);
    CommandStreamIn in(body);
    bool whole = true;
    try {
        group->load(in);
    } catch (const char*) { // the stream's error; the values before it are set
        whole = false;
    }
    for (LPARAMS::Client::Param* param : group->params) {
        const std::string stored = printParam(*param, panelkit::TextForm::stored);
        if (parseParam(*group, *param, stored, panelkit::TextForm::stored)) std::abort();
        panelkit::printParam(*param);
    }
    std::string written;
    CommandStreamOut out(written);
    group->save(out);
    if (whole && written.empty() && !group->params.empty()) std::abort();
    return 0;
}
