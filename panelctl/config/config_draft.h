// SPDX-License-Identifier: MIT
//
// A draft of the service's configuration, and the errors when it can't be read or written.
//
//   ConfigDraft draft;
//   SectionBody& ike = draft.section("IKE");
//   setFromText(ike, ike.indexOf("EXCHANGE_TIMEOUT"), "90");
//   draft.write(panelkit::Commit::no);
#pragma once

#include <panelctl/config/config_values.h>

#include <panelkit/lparams/sections/config_transaction.h>

#include <vector>

namespace panelctl {

using Change = panelkit::ConfigTransaction::Change;

class ConfigDraft {
public:
    // A section, for reading and changing. It is read from the service when it is first asked for. Throws CommandError.
    SectionBody& section(const char* name);

    // The value of a place of the catalogue.
    SectionValue at(const Place& place);

    // In the order of sections and keys. Throws CommandError when values do not go together.
    std::vector<Change> changes() const;

    // Makes the service hold what the draft says. When that fails, throws CommandError, which says what became of the
    // sections that were written already. A commit that fails does not throw: the result says so.
    panelkit::TransactionResult write(panelkit::Commit commit);

private:
    panelkit::ConfigTransaction transaction_;
};

// The error for a section, or a commit, that failed.
CommandError errorOf(const panelkit::SectionFailure& failure);

// Throws CommandError when the values of a section do not go together.
void requireConstraints(const SectionBody& body);

} // namespace panelctl
