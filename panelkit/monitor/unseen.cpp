// SPDX-License-Identifier: MIT
#include <panelkit/monitor/unseen.h>

#include <algorithm>

namespace panelkit {

std::string Unseen::text() const {
    std::vector<Loc::Phrase> phrases;
    for (const bridge::Remark& remark : remarks) phrases.push_back(remark.phrase);
    return Loc::fill(phrases);
}

std::vector<Unseen> lastUnseen() {
    const auto beginsOne = [](const bridge::Remark& remark) { return remark.code == incompleteRemark; };
    const std::vector<bridge::Remark>& all = bridge::lastRemarks();
    std::vector<Unseen> parts;
    for (auto begin = std::find_if(all.begin(), all.end(), beginsOne); begin != all.end();) {
        const auto end = std::find_if(begin + 1, all.end(), beginsOne);
        parts.push_back({{begin, end}});
        begin = end;
    }
    return parts;
}

} // namespace panelkit
