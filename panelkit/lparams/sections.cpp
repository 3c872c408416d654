// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections.h>

#include <panelkit/format/ascii_case.h>

#include <algorithm>
#include <array>

namespace LPARAMS::Client {

// The rows of a section are its members, which the constructors build in order: see the section's header.
// clang-format off
ADMIN::ADMIN()       : ParamGroup("ADMIN")    {}
CERTMON::CERTMON()   : ParamGroup("CERTMON")  {}
IKE::IKE()           : ParamGroup("IKE")      {}
LOG::LOG()           : ParamGroup("LOG")      {}
LOGON::LOGON()       : ParamGroup("LOGON")    {}
LSP_GATE::LSP_GATE() : ParamGroup("LSP_GATE") {}
PCAP::PCAP()         : ParamGroup("PCAP")     {}
POLICY::POLICY()     : ParamGroup("POLICY")   {}
PRIVKEY::PRIVKEY()   : ParamGroup("PRIVKEY")  {}
PROXY::PROXY()       : ParamGroup("PROXY")    {}
UPDATE::UPDATE()     : ParamGroup("UPDATE")   {}
USER::USER()         : ParamGroup("USER")     {}

ADMIN::~ADMIN()       = default;
CERTMON::~CERTMON()   = default;
IKE::~IKE()           = default;
LOG::~LOG()           = default;
LOGON::~LOGON()       = default;
LSP_GATE::~LSP_GATE() = default;
PCAP::~PCAP()         = default;
POLICY::~POLICY()     = default;
PRIVKEY::~PRIVKEY()   = default;
PROXY::~PROXY()       = default;
UPDATE::~UPDATE()     = default;
USER::~USER()         = default;
// clang-format on

} // namespace LPARAMS::Client

namespace panelkit {

namespace {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;

template <class Group>
std::unique_ptr<ParamGroup> make() {
    return std::make_unique<Group>();
}

} // namespace

std::span<const Section> sections() {
    using namespace LPARAMS::Client;
    static constexpr std::array all = {
        // clang-format off
        Section{"ADMIN",   make<ADMIN>},
        Section{"CERTMON", make<CERTMON>},
        Section{"IKE",     make<IKE>},
        Section{"LOG",     make<LOG>},
        Section{"LOGON",   make<LOGON>},
        Section{"PCAP",    make<PCAP>},
        Section{"POLICY",  make<POLICY>},
        Section{"PRIVKEY", make<PRIVKEY>},
        Section{"PROXY",   make<PROXY>},
        Section{"UPDATE",  make<UPDATE>},
        Section{"USER",    make<USER>},
        // clang-format on
    };
    return all;
}

bool isSecret(std::string_view section, std::string_view key) {
    static constexpr std::pair<std::string_view, std::string_view> secrets[] = {
        {"CERTMON", "SMTP_PASSWORD"},
        {"IKE", "QCD_SECRET"},
    };
    return std::find(std::begin(secrets), std::end(secrets), std::pair(section, key)) != std::end(secrets);
}

Param* findParam(ParamGroup& group, std::string_view key) {
    const auto found = std::find_if(group.params.begin(), group.params.end(),
                                    [&](const Param* param) { return equalIgnoringCase(param->key, key); });
    return found == group.params.end() ? nullptr : *found;
}

AllGroups::AllGroups() {
    for (const Section& section : sections()) groups_.push_back(section.make());
}
AllGroups::~AllGroups() = default;

Place AllGroups::find(std::string_view section, std::string_view key) const {
    const auto found = std::find_if(groups_.begin(), groups_.end(),
                                    [&](const auto& group) { return equalIgnoringCase(group->name, section); });
    if (found == groups_.end()) return {};
    return {found->get(), findParam(**found, key)};
}

namespace {

struct Prototypes {
    AllGroups groups;
    LPARAMS::Client::LSP_GATE gateway;
};

const Prototypes& prototypes() {
    static const Prototypes all;
    return all;
}

} // namespace

const AllGroups& catalogue() { return prototypes().groups; }
const LPARAMS::Client::LSP_GATE& gatewayFields() { return prototypes().gateway; }

} // namespace panelkit
