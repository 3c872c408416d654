// SPDX-License-Identifier: MIT
#include <panelctl/base/nearest.h>

#include <panelctl/base/say.h>

#include <panelkit/format/ascii_case.h>

#include <algorithm>
#include <numeric>

namespace panelctl {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), panelkit::asciiLower);
    return text;
}

std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

// The distance of `wanted` from a name or its first word: people often shorten "Office Moscow" to "Office".
std::size_t apartFrom(const std::string& wanted, const std::string& name) {
    if (wanted.size() >= 3 && name.starts_with(wanted)) return 1;
    return std::min(distance(wanted, name), distance(wanted, name.substr(0, name.find(' '))));
}

} // namespace

std::string nearest(const std::string& word, const std::vector<std::string>& candidates) {
    const std::string wanted = lower(word);
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(1, wanted.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t apart = apartFrom(wanted, lower(candidate));
        if (apart < bestDistance) {
            best = candidate;
            bestDistance = apart;
        }
    }
    return best;
}

std::string didYouMean(const std::string& candidate) {
    return candidate.empty() ? "" : "; " + say("did you mean \"%s\"?", candidate);
}

} // namespace panelctl
