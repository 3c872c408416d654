// SPDX-License-Identifier: MIT
//
// Changes to the service's configuration that are made as a whole or not at all. A section is read when it is first
// asked for. Changed sections are written, read back and compared byte by byte. When anything fails half-way, every
// section that was written is restored to its old content, including the history of a QCD secret.
//
//   panelkit::ConfigTransaction transaction;
//   panelkit::SectionBody* const ike = transaction.section("IKE");
//   if (!ike) return explain(transaction.failure());
//   if (const auto error = ike->enterText(ike->indexOf("EXCHANGE_TIMEOUT"), "90")) return explain(*error);
//   const panelkit::TransactionResult result = transaction.apply(panelkit::Commit::yes);
//   if (!result.isDone()) return explain(result);
//
// Only for the front end's one thread. The sections may hold secrets and are wiped with the transaction.
#pragma once

#include <panelkit/lparams/sections/section_body.h>

#include <platform/bridge/failure.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit {

// What went wrong with a section.
struct SectionFailure {
    enum class Why : unsigned char {
        nothing,
        command,    // it could not be read, written or committed: `command` says why
        endsEarly,  // the service's data ends within the section
        goesOn,     // the service's data has more than this library knows; writing it back would lose that
        constraint, // its values contradict each other: `text` is the message
        otherValue, // the service accepted the value of `param`, but holds `text`, masked when it is a secret
        stopped,    // `goesOn` of apply() returned false
    };

    Why why = Why::nothing;
    std::string section{}; // empty when it is not about one
    bridge::Failure command{};
    const LPARAMS::Client::Param* param = nullptr;
    std::string text{};
};

// How a transaction ended.
struct TransactionResult {
    enum class Outcome : unsigned char {
        nothingToDo,  // nothing was changed, and nothing was written
        applied,      // the service holds the changes; they are permanent when a commit was asked for
        notCommitted, // the service holds the changes, or has none to take, but the commit failed
        untouched,    // it failed before the service changed anything
        restored,     // it failed half-way, and what was written was restored
        notRestored,  // it failed half-way, and `lost` could not be restored
    };

    Outcome outcome = Outcome::nothingToDo;
    SectionFailure cause{};              // set for all but the first two
    std::vector<std::string> restored{}; // sections that were restored
    std::vector<std::string> lost{};     // sections whose content is unknown

    bool isDone() const { return outcome == Outcome::nothingToDo || outcome == Outcome::applied; }
};

// Whether the changes are made permanent.
enum class Commit : bool { no, yes };

class PANELKIT_EXPORT ConfigTransaction {
public:
    ConfigTransaction();
    ~ConfigTransaction();
    ConfigTransaction(const ConfigTransaction&) = delete;
    ConfigTransaction& operator=(const ConfigTransaction&) = delete;

    // Returns the section for reading and changing. It lives as long as the transaction. It is read from the service at
    // the first call. Returns null when that fails: failure() says why. `name` is case-insensitive; throws
    // std::invalid_argument when there is no such section.
    SectionBody* section(std::string_view name);
    const SectionFailure& failure() const { return failure_; }

    // The changes, in the order of sections and keys. They are views of the sections, valid until one is changed.
    struct Change {
        SectionValue from, to;
    };
    std::vector<Change> changes() const;

    // Returns the first constraint that the changed sections break. While there is one, apply() writes nothing.
    std::optional<SectionFailure> brokenConstraint() const;

    // Writes the changes to the service. Commit::yes makes everything that the service holds permanent, even when there
    // are no changes. `goesOn` is called before each section is written and once after the last; when it returns false,
    // what was written is restored. The current tracker of changes is marked when something was written.
    TransactionResult apply(Commit commit, const std::function<bool()>& goesOn = {});

private:
    struct Draft {
        SectionBody before, after;
    };

    std::map<std::string_view, Draft> drafts_; // by the names of sections
    SectionFailure failure_;
};

} // namespace panelkit
