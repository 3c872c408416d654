// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections/sections.h>

#include <panelkit/format/nearest.h>
#include <panelkit/loc/registered_texts.h>
#include <platform/text/ascii.h>

#include <algorithm>
#include <array>

namespace LPARAMS::Client {

// The parameters of a section are its members; the constructors build them in the order of the section's header.
// clang-format off
ADMIN::ADMIN()       : ParamGroup("ADMIN")    {}
CERTMON::CERTMON()   : ParamGroup("CERTMON")  {}
IKE::IKE()           : ParamGroup("IKE")      {}
LOG::LOG()           : ParamGroup("LOG")      {}
LOGON::LOGON()       : ParamGroup("LOGON")    {}
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

Param* findParam(ParamGroup& group, std::string_view key) {
    const auto found = std::find_if(group.params.begin(), group.params.end(),
                                    [&](const Param* param) { return platform::equalIgnoringCase(param->key, key); });
    return found == group.params.end() ? nullptr : *found;
}

AllGroups::AllGroups() {
    for (const Section& section : sections()) groups_.push_back(section.make());
}
AllGroups::~AllGroups() = default;

Place AllGroups::find(std::string_view section, std::string_view key) const {
    const auto found = std::find_if(groups_.begin(), groups_.end(), [&](const auto& group) {
        return platform::equalIgnoringCase(group->name, section);
    });
    if (found == groups_.end()) return {};
    return {found->get(), findParam(**found, key)};
}

std::optional<ParamError> findByName(const AllGroups& groups, std::string_view name, Place& place) {
    const std::size_t dot = std::min(name.find('.'), name.size());
    const std::string_view section = name.substr(0, dot);
    const std::string_view key = name.substr(std::min(dot + 1, name.size()));
    place = groups.find(section, key);
    if (place.param) return std::nullopt;
    std::vector<std::string_view> names;
    if (place.group) {
        for (const Param* param : place.group->params) names.emplace_back(param->key);
        const char* const legal = registeredText("a key of the section");
        return ParamError{place.group->name, "", std::string(key), legal, nearest(key, names), ""};
    }
    for (const auto& group : groups) names.emplace_back(group->name);
    return ParamError{"", "", std::string(section), registeredText("a section"), nearest(section, names), ""};
}

const AllGroups& allGroups() {
    static const AllGroups all;
    gatewayFields(); // registers its texts now, and not when the first gateway is read on some thread
    return all;
}

} // namespace panelkit
