// SPDX-License-Identifier: MIT
//
// A limit on what the accounts together, and each of them, take of something: connections, bytes. What is taken is
// given back with the object that took it, however a session ends.
//
//   AccountBudget connections({.all = 256, .account = 64, .reserve = 32});
//   AccountBudget::Share share(connections, peer.user, isAdministrator);
//   if (!share.take(1)) return tooMany();
#pragma once

#include <platform/system/guarded.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>

namespace bridge {

struct BudgetLimits {
    std::uint64_t all = std::numeric_limits<std::uint64_t>::max();     // of all accounts together
    std::uint64_t account = std::numeric_limits<std::uint64_t>::max(); // of one account
    std::uint64_t reserve = 0;                                         // of `all`, for the privileged alone
};

// Any thread may use it. It must outlive its shares.
class AccountBudget {
public:
    explicit AccountBudget(BudgetLimits limits) : limits_(limits) {}
    AccountBudget(const AccountBudget&) = delete;
    AccountBudget& operator=(const AccountBudget&) = delete;

    // What one session or object has taken. Used by one thread at a time; its destructor gives everything back.
    class Share {
    public:
        Share(AccountBudget& budget, std::string account, bool privileged);
        ~Share() { giveBack(taken_); }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        // Returns false, with nothing taken, when that would be more than the limits allow.
        bool take(std::uint64_t amount);
        void giveBack(std::uint64_t amount); // at most what was taken
        std::uint64_t taken() const { return taken_; }

    private:
        AccountBudget& budget_;
        const std::string account_;
        const bool privileged_;
        std::uint64_t taken_ = 0;
    };

    // What all accounts have taken at present, and how many of them have taken something.
    std::uint64_t used() const { return state_.lock()->used; }
    std::size_t accounts() const { return state_.lock()->byAccount.size(); }

private:
    struct State {
        std::uint64_t used = 0;
        std::map<std::string, std::uint64_t> byAccount; // without those that have nothing
    };

    bool take(const std::string& account, bool privileged, std::uint64_t amount);
    void giveBack(const std::string& account, std::uint64_t amount);

    const BudgetLimits limits_;
    platform::Guarded<State> state_;
};

} // namespace bridge
