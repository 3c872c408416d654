// SPDX-License-Identifier: MIT
//
// Requests and replies taken apart for a transcript, by the table of commands.
#pragma once

#include <panelkit/bridge/commands.h>

#include <string>
#include <string_view>

namespace panelkit {

// Null when the table does not have the command.
const CommandRow* findCommand(std::uint32_t module, std::uint32_t code);

// Append a JSON object: the number of bytes, the fields that were read, and how the payload ends.
//
//   {"bytes":9,"fields":[{"at":0,"name":"done","value":true},{"at":1,"name":"pin","secret":true}],
//    "endsEarly":{"record":"PinStateMessage","field":"why.title","at":1,"left":8},
//    "unread":3,"notShown":70}
//
// `unread` counts bytes after the last field, `notShown` fields that were left out because they are many. Both, and
// `endsEarly`, are there only when there is something to say. A secret has no value.
void appendRequestJson(Command command, std::string_view request, std::string& json);
void appendReplyJson(Command command, std::string_view request, std::string_view reply, std::string& json);

// The same for a payload of which nothing is known.
void appendUnknownJson(std::string_view payload, std::string& json);

} // namespace panelkit
