// SPDX-License-Identifier: MIT
#include <service/tokens/probe.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/tokens/pkcs11_library.h>

#include <panelkit/format/hex_text.h>
#include <platform/bridge/peer.h>
#include <platform/system/child_process.h>
#include <platform/system/files.h>

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>

namespace panelkitd {

using vocabulary::Refused;

namespace {

// The child's exit statuses. Any other is the module's doing; abort() alone ends with 3 or a signal.
constexpr int passed = 0;
constexpr int failedOrderly = 65;

// In the child's environment: it gives up its rights first.
constexpr const char* unprivileged = "PANELKIT_PROBE_UNPRIVILEGED";

platform::ChildResult runChild(const std::string& path, bool withRights, std::chrono::seconds deadline) {
    platform::ChildOptions options;
    options.arguments = {platform::executablePath(), probeOption, path};
    options.environment[unprivileged] = withRights ? std::nullopt : std::optional<std::string>("1");
    return platform::runChild(options, deadline);
}

std::string lastLine(const std::string& text) {
    const std::size_t end = text.find_last_not_of("\r\n");
    if (end == std::string::npos) return {};
    const std::size_t start = text.find_last_of("\r\n", end);
    return text.substr(start == std::string::npos ? 0 : start + 1, end - start);
}

bool failedInOrder(const platform::ChildResult& result) {
    return result.ending == platform::Ending::exited && result.status == failedOrderly;
}

// The child tells its remarks to the service in one line of digits on its standard output; people read them on its
// standard error.
std::string asDigits(const Remarks& remarks) {
    std::string digits;
    panelkit::appendHex(encode(bridge::fitted(remarks)), digits);
    return digits;
}

// Nothing when the module has written something else in between.
std::optional<Remarks> fromDigits(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        unsigned char byte = 0;
        const char* const end = digits.data() + i + 2;
        if (std::from_chars(digits.data() + i, end, byte, 16).ptr != end) return std::nullopt;
        bytes += static_cast<char>(byte);
    }
    return bridge::decodeRemarks(bytes);
}

Remarks problemOf(const platform::ChildResult& result) {
    if (failedInOrder(result)) {
        if (auto said = fromDigits(lastLine(result.output))) {
            // The module may have written it: the number must not say anything of other modules.
            for (bridge::Remark& remark : *said) remark.code = static_cast<std::uint32_t>(Refused::moduleUnfit);
            return *said;
        }
        const std::string line = lastLine(result.error);
        if (!line.empty()) return explained(std::runtime_error(line));
        return {remark(Refused::none, "it gave no reason")};
    }
    if (result.ending == platform::Ending::timedOut) return {remark(Refused::none, "it hung when it was tried out")};
    return {remark(Refused::none, "it crashed when it was tried out")};
}

} // namespace

// A service that runs as root tries the module first without its rights. A module that then fails in good order may
// only lack access to its own files, and is tried once more as what it will run as.
void probeModule(const std::string& path, std::chrono::seconds deadline) {
    const bool asRoot = bridge::self().superuser;
    platform::ChildResult result = runChild(path, !asRoot, deadline);
    if (asRoot && failedInOrder(result)) {
        result = runChild(path, true, deadline);
    }
    if (result.ending == platform::Ending::exited && result.status == passed) {
        logDetail("probe of " + path + ": " + lastLine(result.output));
        return;
    }
    throw RefusedError(Refused::moduleUnfit, "the module %s does not work", path).because(problemOf(result));
}

int runProbe(const std::string& path) {
    if (std::getenv(unprivileged)) dropPrivileges();
    try {
        std::printf("%s\n", examineModule(path).c_str());
        return passed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        std::printf("\n%s\n", asDigits(explained(error)).c_str());
        return failedOrderly;
    }
}

} // namespace panelkitd
