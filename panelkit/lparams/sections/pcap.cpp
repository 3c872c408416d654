// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections/pcap.h>

#include <algorithm>

namespace LPARAMS::Client {

namespace {

// Prints `format`, which has one %s, into a buffer of 2048 bytes: a longer message is cut.
std::string printBounded(std::string format, const char* argument) {
    constexpr std::size_t buffer = 2048;
    if (const std::size_t place = format.find("%s"); place != std::string::npos) format.replace(place, 2, argument);
    format.resize(std::min(format.size(), buffer - 1));
    return format;
}

} // namespace

// There is deliberately no blank after the quoted name.
PCAP::Error875::Error875(PCAP& pcap) : Error(pcap) {
    const char* const& format =
        registerText("Param malformed: '%s'Multiple CPUs can be provided as a comma-separated list with no space: 0,1. "
                     "Ranges of CPUs are specified with -: 0-2.");
    message = printBounded(format, pcap.THREADS_MASK.label);
}

bool PCAP::Error875::violated() const { return !CPUsParam::checkFormat(owner().THREADS_MASK.value); }

} // namespace LPARAMS::Client
