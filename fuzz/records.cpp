// SPDX-License-Identifier: MIT
//
// Every record of the command stream, and lists of them, from any bytes: a reader throws or fills the record, and
// writing and reading that record again changes nothing. The first byte chooses the record.
#include <panelkit/bridge/command_stream.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/notifications.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

template <class T>
void readTwice(const std::string& bytes) {
    T first{}, second{};
    try {
        CommandStreamIn(bytes) >> first;
    } catch (const char*) { // the stream's error
        return;
    }
    std::string written;
    CommandStreamOut(written) << first;
    CommandStreamIn(written) >> second; // throws out of the target when it wrote less than it reads
    if (!(first == second)) std::abort();
}

template <class T>
void alone(const std::string& bytes) {
    readTwice<T>(bytes);
}
template <class T>
void listed(const std::string& bytes) {
    readTwice<std::vector<T>>(bytes);
}

constexpr std::array readers = {
    alone<PKCS11::ProviderInfo>,
    alone<PKCS11::TokenInfo>,
    alone<PinStateMessage>,
    alone<CertInfo>,
    alone<CRLInfo>,
    alone<PresharedKeyInfo>,
    alone<CertImportOption>,
    alone<CertRequestKeyInfo>,
    alone<CertRequestInfo>,
    alone<CertExtentions>,
    alone<vocabulary::TokenNotice>,
    alone<vocabulary::ConfigurationNotice>,
    alone<vocabulary::PolicyNotice>,
    alone<vocabulary::CertificateNotice>,
    listed<PKCS11::ProviderInfo>,
    listed<PKCS11::TokenInfo>,
    listed<CertImportOption>,
    listed<std::string>,
    listed<std::uint32_t>,
    alone<vocabulary::TunnelNotice>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    readers.at(data[0] % readers.size())(std::string(data + 1, data + size));
    return 0;
}
