// SPDX-License-Identifier: MIT
//
// Tables of the conditions that a thing of the service can be in: a provider, a token, a tunnel.
#pragma once

#include <panelctl/base/output.h>
#include <panelctl/base/say.h>

#include <array>
#include <cstddef>

namespace panelctl {

template <class Condition>
struct ConditionRow {
    Condition condition;
    const char* word; // in JSON
    Mood mood;
    Label text;
};

// A newer service may have more conditions: they are shown as the last one, which promises nothing.
template <class Condition, std::size_t size>
const ConditionRow<Condition>& rowOf(const std::array<ConditionRow<Condition>, size>& rows, Condition condition) {
    for (const ConditionRow<Condition>& row : rows) {
        if (row.condition == condition) return row;
    }
    return rows.back();
}

} // namespace panelctl
