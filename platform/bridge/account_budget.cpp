// SPDX-License-Identifier: MIT
#include <platform/bridge/account_budget.h>

#include <utility>

namespace bridge {

namespace {

// Also right for amounts near the largest number.
bool fits(std::uint64_t used, std::uint64_t amount, std::uint64_t limit) {
    return used <= limit && amount <= limit - used;
}

} // namespace

AccountBudget::Share::Share(AccountBudget& budget, std::string account, bool privileged)
    : budget_(budget), account_(std::move(account)), privileged_(privileged) {}

bool AccountBudget::Share::take(std::uint64_t amount) {
    if (!budget_.take(account_, privileged_, amount)) return false;
    taken_ += amount;
    return true;
}

void AccountBudget::Share::giveBack(std::uint64_t amount) {
    if (amount == 0) return;
    budget_.giveBack(account_, amount);
    taken_ -= amount;
}

bool AccountBudget::take(const std::string& account, bool privileged, std::uint64_t amount) {
    if (amount == 0) return true;
    const auto state = state_.lock();
    const auto known = state->byAccount.find(account);
    const std::uint64_t own = known == state->byAccount.end() ? 0 : known->second;
    if (!fits(own, amount, limits_.account)) return false;
    if (!fits(state->used, amount, limits_.all - (privileged ? 0 : limits_.reserve))) return false;
    state->byAccount[account] = own + amount;
    state->used += amount;
    return true;
}

void AccountBudget::giveBack(const std::string& account, std::uint64_t amount) {
    const auto state = state_.lock();
    const auto known = state->byAccount.find(account);
    known->second -= amount;
    state->used -= amount;
    if (known->second == 0) state->byAccount.erase(known);
}

} // namespace bridge
