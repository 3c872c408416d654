// SPDX-License-Identifier: MIT
#include <panelctl/base/say.h>

namespace panelctl {

Loc::Messages& messages() {
    static Loc::Messages theMessages("panelctl");
    return theMessages;
}

std::string didYouMean(const std::string& name) { return name.empty() ? "" : "; " + say("did you mean \"%s\"?", name); }

} // namespace panelctl
