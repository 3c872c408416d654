// SPDX-License-Identifier: MIT
//
// The slots as the module last saw them. Their ids can't be guessed: large, in no order, and different for another
// seed.
#pragma once

#include <testing/token_module/steering.h>

#include <p11-kit/pkcs11.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace panelkit::testing {

struct Slot {
    CK_SLOT_ID id = 0;
    std::string name;
    std::string token; // empty: none is inserted
    std::uint64_t insertion = 0;

    bool hasToken() const { return !token.empty(); }
};

class Slots {
public:
    // `lines` are the slots at the start: takeEvent does not report them.
    Slots(std::uint64_t seed, const std::vector<SlotLine>& lines);

    // Updates the slots. Returns the ids of those whose token was removed or replaced.
    std::vector<CK_SLOT_ID> update(const std::vector<SlotLine>& lines);

    const std::vector<Slot>& all() const { return slots_; }
    const Slot& at(CK_SLOT_ID id) const;        // throws Failure: CKR_SLOT_ID_INVALID
    const Slot& withToken(CK_SLOT_ID id) const; // throws Failure: that, or CKR_TOKEN_NOT_PRESENT

    // Returns a slot where a token was inserted or removed; each change once.
    std::optional<CK_SLOT_ID> takeEvent();
    // The number of tokens that were removed so far.
    std::uint64_t removals() const { return removals_; }

private:
    Slot slotOf(const SlotLine& line) const;
    const Slot* find(CK_SLOT_ID id) const;
    void noteChange(CK_SLOT_ID id);

    std::uint64_t seed_;
    std::vector<Slot> slots_;
    std::deque<CK_SLOT_ID> events_;
    std::uint64_t removals_ = 0;
};

} // namespace panelkit::testing
