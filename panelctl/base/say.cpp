// SPDX-License-Identifier: MIT
#include <panelctl/base/say.h>

namespace panelctl {

Loc::Messages& messages() {
    static Loc::Messages theMessages("panelctl");
    return theMessages;
}

} // namespace panelctl
