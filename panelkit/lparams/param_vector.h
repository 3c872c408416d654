// SPDX-License-Identifier: MIT
//
// A parameter that is a list of groups. There is one: the gateways of a user's policy (sections/user.h).
#pragma once

#include <panelkit/lparams/param_group.h>

#include <memory>
#include <vector>

namespace LPARAMS::Client {

// On the wire: the count, then the values of every element. `G` is a group that can be built without arguments.
template <class G>
class PANELKIT_EXPORT ParamVector : public Param {
public:
    ParamVector(ParamGroup& group, const char* paramKey, ParamTexts texts);
    ~ParamVector() override;

    int type() const override; // 8
    bool save(CommandStreamOut& out) const override;

    // Destroys all elements, then reads. When the stream ends early, those that were begun remain.
    bool load(CommandStreamIn& in) override;

    std::vector<std::unique_ptr<G>> items;
};

} // namespace LPARAMS::Client
