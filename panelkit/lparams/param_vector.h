// SPDX-License-Identifier: MIT
//
// A parameter that is a list of groups. There is one: the gateways of a user's policy (USER.LSP_GATES).
#pragma once

#include <panelkit/lparams/param_group.h>

#include <memory>
#include <vector>

namespace LPARAMS::Client {

// On the wire: the count, then the values of every element. `G` must be a group with a default constructor.
template <class G>
class PANELKIT_EXPORT ParamVector : public Param {
public:
    ParamVector(ParamGroup& group, const char* paramKey, ParamTexts texts);
    ~ParamVector() override;

    int type() const override; // 8
    bool save(CommandStreamOut& out) const override;

    // Destroys all elements, then reads. When the stream ends early, the elements read so far remain, the last one
    // possibly incomplete.
    bool load(CommandStreamIn& in) override;

    std::vector<std::unique_ptr<G>> items;
};

// A gateway of a user's policy: no section of its own, only an element of LSP_GATES.
struct PANELKIT_EXPORT LSP_GATE : ParamGroup {
    LSP_GATE();
    ~LSP_GATE() override;

    // clang-format off
    StStParam GATE_ADDRESS{*this, "GATE_ADDRESS", registerText(""), ""};
    StStParam CERT_SUBJECT{*this, "CERT_SUBJECT", registerText(""), ""};
    StStParam DST_SELECTOR{*this, "DST_SELECTOR", registerText(""), ""};
    // clang-format on
};

extern template class ParamVector<LSP_GATE>;

} // namespace LPARAMS::Client

namespace panelkit {

// What a gateway is made of: one prototype for the whole process, which lends names and texts. It is built with the
// table of the sections (allGroups() in sections/sections.h), or at the first call, to which the same rules apply.
PANELKIT_EXPORT const LPARAMS::Client::LSP_GATE& gatewayFields();

} // namespace panelkit
