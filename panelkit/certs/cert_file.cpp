// SPDX-License-Identifier: MIT
#include <panelkit/certs/cert_file.h>

#include <platform/bridge/connection.h>
#include <platform/bridge/frame.h>
#include <platform/system/files.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

namespace panelkit {

namespace {

constexpr std::size_t longestPath = 4095; // UTF-16 units, on every system
constexpr std::uint64_t largestFile = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t largestSent = bridge::defaultFrameLimit;

// How many UTF-16 units a text takes: one for each character, two for those of four bytes in UTF-8.
std::size_t utf16Units(std::string_view utf8) {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >> 6 != 0b10) ++units; // not the continuation of a character
        if (byte >= 0xF0) ++units;
    }
    return units;
}

CertFile unsendable(bridge::Failure failure) {
    bridge::setLastOutcome({std::move(failure), {}});
    return CertFile::unsendable;
}

} // namespace

CertFile readCertFile(const char* path, std::string& content) {
    if (!path || utf16Units(path) > longestPath) return CertFile::unreadable;
    try {
        content = platform::readFile(path, largestSent);
        return content.empty() ? CertFile::unreadable : CertFile::read;
    } catch (const platform::FileError& error) {
        const bool isOnlyLarge = error.tooLarge > 0 && error.tooLarge <= largestFile;
        return isOnlyLarge ? unsendable(bridge::requestTooLarge(error.tooLarge, largestSent)) : CertFile::unreadable;
    } catch (const std::bad_alloc&) {
        return unsendable({bridge::FailureCode::exhausted, {}});
    }
}

} // namespace panelkit
