// SPDX-License-Identifier: MIT
#include <service/config/qcd_secret.h>

#include <panelkit/format/hex_text.h>
#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/param_group.h>
#include <platform/system/system_random.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using std::string_view;

namespace {

constexpr std::size_t bytesOfSecret = 20;

// The parameter alone: its rules for histories are the library's.
struct SecretOnly : LPARAMS::Client::ParamGroup {
    SecretOnly() : ParamGroup("IKE") {}
    LPARAMS::Client::QcdSParam secret{*this, "QCD_SECRET", panelkit::Text::empty, ""};
};

string_view newestOf(string_view history) { return history.substr(0, history.find(':')); }

string_view olderOf(string_view history) {
    return history.substr(std::min(history.size(), newestOf(history).size() + 1));
}

bool isSecret(string_view entry) { return !entry.empty() && entry != "auto" && entry != "no"; }

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
    const string_view newest = newestOf(delivered);
    if (!newest.empty() && newest != "auto") return std::string(delivered);
    if (delivered.empty() && isSecret(newestOf(committed))) return std::string(committed);
    const string_view older = olderOf(delivered);
    SecretOnly group;
    const platform::WipeOnExit wipedValue(group.secret.value), wipedHistory(group.secret.history);
    group.secret.value = makeSecret();
    group.secret.history = isSecret(newestOf(older)) ? older : isSecret(newestOf(committed)) ? committed : "";
    std::string stream;
    CommandStreamOut out(stream);
    group.secret.save(out);
    platform::wipe(stream);
    return group.secret.history;
}

} // namespace panelkitd
