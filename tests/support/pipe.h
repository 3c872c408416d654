// SPDX-License-Identifier: MIT
//
// A pipe of the C runtime's descriptors, which carries bytes as they are.
#pragma once

struct Pipe {
    int from = -1;
    int to = -1;
};

// Throws std::system_error when the system can't make one. The caller closes both ends.
Pipe makePipe();
