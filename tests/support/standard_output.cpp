// SPDX-License-Identifier: MIT
#include "standard_output.h"

#include "pipe.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace {

std::string readAll(int pipe) {
    std::string bytes;
    std::array<char, 65536> part;
    for (;;) {
        const auto got = ::read(pipe, part.data(), part.size());
        if (got <= 0) return bytes;
        bytes.append(part.data(), static_cast<std::size_t>(got));
    }
}

} // namespace

std::string printedBy(const std::function<void()>& print) {
    std::fflush(stdout);
    const int output = ::fileno(stdout);
    const int former = ::dup(output);
    const Pipe pipe = makePipe();
    if (former < 0 || ::dup2(pipe.to, output) < 0) throw std::runtime_error("standard output can't be redirected");
    ::close(pipe.to);

    std::string bytes;
    std::thread reader([&] { bytes = readAll(pipe.from); });
    print();
    std::fflush(stdout);
    ::dup2(former, output); // closes the last end for writing, so that the reader ends
    reader.join();
    ::close(former);
    ::close(pipe.from);
    return bytes;
}
