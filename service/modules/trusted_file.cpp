// SPDX-License-Identifier: MIT
#include <service/modules/trusted_file.h>

#include <service/base/refused.h>

#include <platform/system/files.h>

namespace panelkitd {

using vocabulary::Refused;

std::string checkedModulePath(const std::string& path, const std::vector<std::string>& allowed) {
    try {
        return trustedPath(path, allowed);
    } catch (const RefusedError& why) {
        throw RefusedError(Refused::modulePath, "the module can't be loaded").because(why);
    }
}

// The file can't change between the check and the reading, because only trusted accounts can write it.
platform::Secret readPinFile(const std::string& path) {
    try {
        const std::string trusted = trustedPath(path, {});
        requirePrivate(trusted);
        std::string pin = platform::readFile(trusted, longestPinFile);
        const platform::WipeOnExit wiped(pin);
        if (pin.ends_with('\n')) pin.pop_back();
        if (pin.empty()) throw RefusedError(Refused::badInput, "%s is empty", path);
        return platform::Secret(pin);
    } catch (const std::exception& why) {
        throw RefusedError(Refused::badInput, "the PIN can't be read").because(why);
    }
}

} // namespace panelkitd
