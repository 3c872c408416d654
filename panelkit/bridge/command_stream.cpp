// SPDX-License-Identifier: MIT
#include <panelkit/bridge/command_stream.h>

void throwCommandStreamError() {
    // The exception is the pointer itself, without a class round it: handlers catch `const char*`.
    static const char* const commandStreamError = "CommandStreamError";
    throw commandStreamError; // NOLINT(misc-throw-by-value-catch-by-reference): see above
}
