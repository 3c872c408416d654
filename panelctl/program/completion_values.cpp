// SPDX-License-Identifier: MIT
#include <panelctl/program/completion_values.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/config/config_values.h>
#include <panelctl/keys/key_names.h>

#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lparams/variants.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/system/clock.h>
#include <vocabulary/certs.h>
#include <vocabulary/policy.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <map>

namespace panelctl {

namespace {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

std::vector<Candidate> tokens() {
    namespace field = vocabulary::token;
    VpnTokensController controller;
    std::vector<TokenInfo> listed;
    controller.EnumProviderTokens(nullptr, listed);
    std::vector<Candidate> candidates;
    for (const TokenInfo& token : listed) {
        const std::string& label = token.*field::label;
        candidates.push_back({label.empty() ? token.*field::serial : label, token.*field::model});
    }
    return candidates;
}

std::vector<Candidate> providers() {
    namespace field = vocabulary::provider;
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    controller.EnumProviders(listed);
    std::vector<Candidate> candidates;
    for (const ProviderInfo& provider : listed) {
        candidates.push_back({provider.*field::name, provider.*field::description});
    }
    return candidates;
}

std::vector<Candidate> parameters() {
    std::vector<Candidate> candidates;
    for (const auto& group : panelkit::AllGroups()) {
        for (const LPARAMS::Client::Param* param : group->params) {
            candidates.push_back({std::string(group->name) + '.' + param->key, param->label});
        }
    }
    return candidates;
}

std::vector<Candidate> languages() { return {{"en", "English"}, {"ru", "Русский"}}; }

// By common name where only one certificate has it, else by fingerprint.
std::vector<Candidate> certificates() {
    std::vector<CertInfo> listed;
    std::vector<TokenInfo> places;
    VpnCertsSilentController().EnumCertificates(static_cast<std::int32_t>(vocabulary::CertSelector::all), listed,
                                                places);
    std::map<std::string, int> uses;
    for (const CertInfo& certificate : listed) ++uses[commonName(certificate.subject)];
    std::vector<Candidate> candidates;
    for (const CertInfo& certificate : listed) {
        const std::string name = commonName(certificate.subject);
        const bool itsOwn = !name.empty() && uses[name] == 1;
        candidates.push_back({itsOwn ? name : certificate.fingerprint.substr(0, 16), certificate.subject});
    }
    return candidates;
}

// The subjects of personal certificates, as a policy names them.
std::vector<Candidate> subjects() {
    std::vector<CertInfo> listed;
    std::vector<TokenInfo> places;
    VpnCertsSilentController().EnumCertificates(static_cast<std::int32_t>(vocabulary::CertSelector::withPrivateKey),
                                                listed, places);
    std::vector<Candidate> candidates;
    for (const CertInfo& certificate : listed) candidates.push_back({certificate.subject, certificate.issuer});
    return candidates;
}

std::vector<Candidate> crls() {
    std::vector<CRLInfo> listed;
    std::vector<TokenInfo> places;
    VpnCertsSilentController().EnumCRLs(listed, places);
    std::map<std::string, int> uses;
    for (const CRLInfo& crl : listed) ++uses[crl.issuer];
    std::vector<Candidate> candidates;
    for (const CRLInfo& crl : listed) {
        candidates.push_back(
            {uses[crl.issuer] == 1 ? crl.issuer : crl.fingerprint.substr(0, 16), platform::dateText(crl.thisUpdate)});
    }
    return candidates;
}

std::vector<Candidate> presharedKeys() {
    std::vector<PresharedKeyInfo> listed;
    std::vector<TokenInfo> places;
    VpnCertsSilentController().EnumPresharedKeys(listed, places);
    std::vector<Candidate> candidates;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const std::string place = i < places.size() ? places[i].*vocabulary::token::label : std::string();
        candidates.push_back({listed[i].name, place});
    }
    return candidates;
}

std::vector<Candidate> keys() {
    std::vector<panelkit::KeyInfo> listed;
    std::vector<TokenInfo> places;
    panelkit::MonitorController().EnumKeys(nullptr, listed, places);
    std::vector<Candidate> candidates;
    for (const panelkit::KeyInfo& key : listed) {
        candidates.push_back({nameOf(key), keyText(key.keyType, key.keyBits)});
    }
    return candidates;
}

// By symbolic name, which is the same in every language.
std::vector<Candidate> choices(const LPARAMS::Variant* rows) {
    std::vector<Candidate> candidates;
    for (const LPARAMS::Variant* row = rows; row->text; ++row) {
        if (row->name) candidates.push_back({row->name, *row->text});
    }
    return candidates;
}

std::vector<Candidate> authentications() { return {{"certificate", {}}, {"preshared-key", {}}}; }

std::vector<Candidate> driverModes() {
    std::vector<Candidate> candidates;
    for (const char* name : vocabulary::driverModeNames) candidates.push_back({name, {}});
    return candidates;
}

std::vector<Candidate> policies() { return {{"system", {}}, {"user", {}}, {"driver", {}}, {"current", {}}}; }

std::vector<Candidate> tunnels() {
    std::vector<panelkit::TunnelInfo> listed;
    panelkit::MonitorController().GetTunnels(listed);
    std::vector<Candidate> candidates;
    for (const panelkit::TunnelInfo& tunnel : listed) candidates.push_back({tunnel.section, tunnel.gateway});
    return candidates;
}

struct Source {
    std::string_view command; // of the argument or option, or its group; empty: any
    std::string_view argument;
    std::vector<Candidate> (*list)();
};

// clang-format off
constexpr std::array sources = {
    Source{"",              "token",       tokens},
    Source{"",              "provider",    providers},
    Source{"",              "lang",        languages},
    Source{"config",        "name",        parameters},
    Source{"config",        "names",       parameters},
    Source{"cert",          "certificate", certificates},
    Source{"key",           "name",        keys},
    Source{"crl",           "crl",         crls},
    Source{"psk delete",    "name",        presharedKeys},
    Source{"policy",        "policy",      policies},
    Source{"policy source", "source",      [] { return choices(LPARAMS::LSP_SOURCE_VARIANTS); }},
    Source{"policy source", "log-level",   [] { return choices(LPARAMS::LOG_LEVEL_VARIANTS); }},
    Source{"policy source", "id-type",     [] { return choices(LPARAMS::PMP_ID_TYPE_VARIANTS); }},
    Source{"policy source", "auth",        authentications},
    Source{"policy source", "driver-mode", driverModes},
    Source{"policy source", "subject",     subjects},
    Source{"policy source", "psk",         presharedKeys},
    Source{"tunnel",        "section",     tunnels},
};
// clang-format on

bool isWithin(std::string_view command, std::string_view group) {
    return group.empty() ||
           (command.starts_with(group) && (command.size() == group.size() || command[group.size()] == ' '));
}

} // namespace

std::vector<Candidate> legalValues(const std::string& parameter) {
    try {
        const LPARAMS::Client::Param& param = *findParameter(parameter).param;
        const auto list = panelkit::kindOf(param).choices;
        const LPARAMS::Variant* const rows = list ? list(param) : nullptr;
        return rows ? choices(rows) : std::vector<Candidate>{};
    } catch (const CommandError&) {
        return {};
    }
}

std::vector<Candidate> valuesOf(std::string_view command, std::string_view argument) {
    const auto source = std::find_if(sources.begin(), sources.end(), [&](const Source& row) {
        return row.argument == argument && isWithin(command, row.command);
    });
    if (source == sources.end()) return {};
    try {
        return source->list();
    } catch (const char* /* the stream's error */) {
        return {};
    }
}

} // namespace panelctl
