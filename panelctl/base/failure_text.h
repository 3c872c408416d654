// SPDX-License-Identifier: MIT
//
// What the library and the service say of commands, in the user's language. They send wordings with their arguments:
// a wording that the catalogue has is translated, others are shown as they came. Arguments (a path, an account, a
// message of the system) stay as they are. Nothing here is escaped: that is done when it is printed.
#pragma once

#include <panelkit/monitor/monitor_records.h>
#include <platform/bridge/failure.h>

#include <span>
#include <string>
#include <vector>

namespace panelctl {

std::string failureText(const bridge::Failure& failure);

// What the service remarked: each remark after the one that it explains, and the entries of a list on lines of their
// own. Without any remarks the text is `otherwise`, the English text of the answer itself: a service that speaks an
// older version of the protocol has no more.
std::string remarksText(std::span<const bridge::Remark> remarks, const std::string& otherwise);

// The same lines as one, with "; " between them.
std::string inOneLine(const std::string& lines);

// Remarks in a record, in one line.
std::string remarksText(const std::vector<panelkit::StateRemark>& remarks);

// The text for a reply that ends before it is complete.
std::string incompleteReplyText();

} // namespace panelctl
