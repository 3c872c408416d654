// SPDX-License-Identifier: MIT
#include <service/config/qcd_secret.h>

#include <panelkit/format/hex_text.h>
#include <panelkit/lparams/formatted_params.h>
#include <platform/system/host.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using panelkit::newestQcdEntry;
using std::string_view;

namespace {

constexpr std::size_t bytesOfSecret = 20;

string_view olderOf(string_view history) {
    return history.substr(std::min(history.size(), newestQcdEntry(history).size() + 1));
}

bool holdsSecret(string_view history) {
    const string_view newest = newestQcdEntry(history);
    return !newest.empty() && !panelkit::isQcdWord(newest);
}

std::string makeSecret() {
    std::array<char, bytesOfSecret> bytes{};
    platform::fillRandom(bytes.data(), bytes.size());
    std::string digits;
    digits.reserve(2 * bytesOfSecret);
    panelkit::appendHex(string_view(bytes.data(), bytes.size()), digits);
    platform::wipe(bytes.data(), bytes.size());
    return digits;
}

} // namespace

std::string completeHistory(string_view delivered, string_view committed) {
    if (!panelkit::isQcdSecretLeftToService(delivered)) return std::string(delivered);
    if (delivered.empty() && holdsSecret(committed)) return std::string(committed);
    std::string made = makeSecret();
    const platform::WipeOnExit wiped(made);
    const string_view older = olderOf(delivered);
    return panelkit::qcdHistoryWith(made, holdsSecret(older) ? older : holdsSecret(committed) ? committed : "");
}

} // namespace panelkitd
