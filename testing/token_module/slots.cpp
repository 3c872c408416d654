// SPDX-License-Identifier: MIT
#include <testing/token_module/slots.h>

#include <testing/token_module/failure.h>
#include <testing/token_module/lines.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace panelkit::testing {

Slots::Slots(std::uint64_t seed, const std::vector<SlotLine>& lines) : seed_(seed) {
    for (const SlotLine& line : lines) slots_.push_back(slotOf(line));
}

Slot Slots::slotOf(const SlotLine& line) const {
    constexpr std::uint64_t lowest = 0x10000;
    constexpr std::uint64_t ids = 0x7FFF0000 - lowest; // also positive as a signed integer of 32 bits
    const auto id = static_cast<CK_SLOT_ID>(lowest + spread(line.slot, seed_) % ids);
    return {id, line.slot, line.token, line.insertion};
}

std::vector<CK_SLOT_ID> Slots::update(const std::vector<SlotLine>& lines) {
    std::vector<Slot> now;
    std::ranges::transform(lines, std::back_inserter(now), [this](const SlotLine& line) { return slotOf(line); });
    const std::vector<Slot> before = std::exchange(slots_, std::move(now));

    std::vector<CK_SLOT_ID> left;
    for (const Slot& was : before) {
        const Slot* is = find(was.id);
        const bool same = is && is->token == was.token && is->insertion == was.insertion;
        if (same || !was.hasToken()) continue;
        left.push_back(was.id);
        ++removals_;
        noteChange(was.id);
    }
    for (const Slot& is : slots_) {
        const auto was = std::ranges::find(before, is.id, &Slot::id);
        if (is.hasToken() && (was == before.end() || !was->hasToken())) noteChange(is.id);
    }
    return left;
}

// One event covers all changes of a slot since the last query.
void Slots::noteChange(CK_SLOT_ID id) {
    if (std::ranges::find(events_, id) == events_.end()) events_.push_back(id);
}

const Slot* Slots::find(CK_SLOT_ID id) const {
    const auto found = std::ranges::find(slots_, id, &Slot::id);
    return found == slots_.end() ? nullptr : &*found;
}

const Slot& Slots::at(CK_SLOT_ID id) const {
    const Slot* slot = find(id);
    demand(slot, CKR_SLOT_ID_INVALID);
    return *slot;
}

const Slot& Slots::withToken(CK_SLOT_ID id) const {
    const Slot& slot = at(id);
    demand(slot.hasToken(), CKR_TOKEN_NOT_PRESENT);
    return slot;
}

std::optional<CK_SLOT_ID> Slots::takeEvent() {
    if (events_.empty()) return std::nullopt;
    const CK_SLOT_ID id = events_.front();
    events_.pop_front();
    return id;
}

} // namespace panelkit::testing
