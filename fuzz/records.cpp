// SPDX-License-Identifier: MIT
//
// Every record of the command stream and of the channel to a module's host, and lists of them, from any bytes: a reader
// throws or fills the record, and writing and reading that record again changes nothing. The first byte chooses the
// record.
#include <fuzz/mutator.h>
#include <service/modules/host_protocol.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/net/interface_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/notifications.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Compared as bytes: not every record can be compared, and this also sees what a comparison leaves out.
template <class T>
void readTwice(const std::string& bytes) {
    T first{}, second{};
    try {
        CommandStreamIn(bytes) >> first;
    } catch (const char*) { // the stream's error
        return;
    }
    std::string written, again;
    CommandStreamOut(written) << first;
    CommandStreamIn(written) >> second; // throws out of the target when it wrote less than it reads
    CommandStreamOut(again) << second;
    if (written != again || written.size() > bytes.size()) std::abort();
}

struct Row {
    void (*check)(const std::string& bytes);
    std::string (*change)(fuzz::Mutator& mutator, std::string_view bytes);
};

template <class T>
constexpr Row row{readTwice<T>,
                  [](fuzz::Mutator& mutator, std::string_view bytes) { return mutator.changed<T>(bytes); }};
template <class T>
constexpr Row listed = row<std::vector<T>>;

// Corpora name a row by its place.
constexpr std::array rows = {
    row<PKCS11::ProviderInfo>,
    row<PKCS11::TokenInfo>,
    row<PinStateMessage>,
    row<CertInfo>,
    row<CRLInfo>,
    row<PresharedKeyInfo>,
    row<CertImportOption>,
    row<CertRequestKeyInfo>,
    row<CertRequestInfo>,
    row<CertExtentions>,
    row<vocabulary::TokenNotice>,
    row<vocabulary::ConfigurationNotice>,
    row<vocabulary::PolicyNotice>,
    row<vocabulary::CertificateNotice>,
    listed<PKCS11::ProviderInfo>,
    listed<PKCS11::TokenInfo>,
    listed<CertImportOption>,
    listed<std::string>,
    listed<std::uint32_t>,
    row<vocabulary::TunnelNotice>,
    row<LSPinfo_t>,
    row<LSPcmd::LSPsettings_t>,
    listed<NetInterfaceInfo>,
    listed<panelkit::ImportItem>,
    listed<panelkit::KeyInfo>,
    listed<panelkit::ProviderState>,
    listed<panelkit::TokenLabels>,
    listed<panelkit::TokenState>,
    listed<panelkit::TunnelInfo>,
    listed<panelkit::UncommittedValue>,
    row<panelkit::EngineInfo>,
    row<panelkit::PolicyContent>,
    row<panelkitd::HostTokens>,
    row<panelkitd::HostFound>,
    row<panelkitd::HostKeyPair>,
    row<panelkitd::HostGeneration>,
    row<panelkitd::HostSigning>,
    listed<panelkitd::HostMechanism>,
    listed<panelkitd::HostTemplate>,
    listed<panelkitd::HostQuery>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    rows.at(data[0] % rows.size()).check(std::string(data + 1, data + size));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    if (bytes.empty() || mutator.chance(32)) bytes.assign(1, static_cast<char>(mutator.below(rows.size())));
    const Row& row = rows.at(static_cast<unsigned char>(bytes[0]) % rows.size());
    return fuzz::store(bytes.substr(0, 1) + row.change(mutator, std::string_view(bytes).substr(1)), data, most);
}
