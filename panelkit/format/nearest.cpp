// SPDX-License-Identifier: MIT
#include <panelkit/format/nearest.h>

#include <platform/text/ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace panelkit {

namespace {

// Longer texts are not typing errors, and the comparison is quadratic.
constexpr std::size_t longest = 200;

// Fewer characters begin too many names.
constexpr std::size_t shortestBeginning = 3;

// A character each, so that one of two bytes counts once: its bytes packed into a number.
std::u32string characters(std::string_view text) {
    std::u32string units;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(platform::asciiLower(c));
        if ((byte & 0xC0) == 0x80 && !units.empty()) {
            units.back() = units.back() << 8 | byte;
        } else {
            units.push_back(byte);
        }
    }
    return units;
}

std::size_t distance(const std::u32string& a, const std::u32string& b) {
    // Three rows of the usual table: two back, one back, the present one.
    std::array<std::vector<std::size_t>, 3> rows;
    for (auto& row : rows) row.resize(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) rows[1][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        rows[2][0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = rows[1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            rows[2][j] = std::min({rows[1][j] + 1, rows[2][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                rows[2][j] = std::min(rows[2][j], rows[0][j - 2] + 1);
            }
        }
        std::rotate(rows.begin(), rows.begin() + 1, rows.end());
    }
    return rows[1][b.size()];
}

// The distance of a name or its first word, whichever is nearer; `longest` when they differ too much.
std::size_t distanceFrom(const std::u32string& wanted, std::string_view name) {
    std::size_t least = longest;
    for (const std::string_view offered : {name, name.substr(0, name.find(' '))}) {
        const std::u32string text = characters(offered.substr(0, longest));
        const std::size_t far = distance(wanted, text);
        if (far <= std::max(wanted.size(), text.size()) / 3) least = std::min(least, far);
    }
    return least;
}

} // namespace

std::string nearest(std::string_view typed, const std::vector<std::string_view>& candidates) {
    if (typed.empty() || typed.size() > longest) return {};
    const std::u32string wanted = characters(typed);
    std::string_view best;
    std::size_t least = longest;
    for (const std::string_view candidate : candidates) {
        const std::size_t far = distanceFrom(wanted, candidate);
        if (far < least) {
            best = candidate;
            least = far;
        }
    }
    if (!best.empty() || wanted.size() < shortestBeginning) return std::string(best);
    const auto begun = std::find_if(candidates.begin(), candidates.end(), [&](std::string_view candidate) {
        return platform::equalIgnoringCase(candidate.substr(0, typed.size()), typed);
    });
    return begun == candidates.end() ? std::string() : std::string(*begun);
}

} // namespace panelkit
