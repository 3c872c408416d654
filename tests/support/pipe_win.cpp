// SPDX-License-Identifier: MIT
#include "pipe.h"

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <system_error>

Pipe makePipe() {
    int ends[2];
    if (::_pipe(ends, 65536, _O_BINARY | _O_NOINHERIT) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    return {ends[0], ends[1]};
}
