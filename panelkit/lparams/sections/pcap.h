// SPDX-License-Identifier: MIT
//
// PCAP: the packet capture engine of the service, and the check of its processor list.
#pragma once

#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT PCAP : ParamGroup {
    PCAP();
    ~PCAP() override;

    // clang-format off
    UIntParam PKT_QUEUE               {*this, "PKT_QUEUE",                {Text::pktQueue,               Text::pktQueueHelp},               512,  {0, 4294967295}};
    CPUsParam THREADS_MASK            {*this, "THREADS_MASK",             {Text::threadsMask,            Text::threadsMaskHelp},            "ALL"};
    UIntParam FCACHE_LINES            {*this, "FCACHE_LINES",             {Text::fcacheLines,            Text::fcacheLinesHelp},            8192, {0, 4294967295}};
    BoolParam FCACHE_ICMP             {*this, "FCACHE_ICMP",              {Text::fcacheIcmp,             Text::fcacheIcmpHelp},             false};
    UIntParam FCACHE_ALWAYS_INVALIDATE{*this, "FCACHE_ALWAYS_INVALIDATE", {Text::fcacheAlwaysInvalidate, Text::fcacheAlwaysInvalidateHelp}, 0,    {0, 7}};
    UIntParam PKT_ORDER               {*this, "PKT_ORDER",                {Text::pktOrder,               Text::pktOrderHelp},               1,    {0, 2}};
    UIntParam PKT_LIST                {*this, "PKT_LIST",                 {Text::pktList,                Text::pktListHelp},                0,    {0, 128}};
    BoolParam FWD_PKT_NO_QUEUE        {*this, "FWD_PKT_NO_QUEUE",         {Text::fwdPktNoQueue,          Text::fwdPktNoQueueHelp},          false};
    // clang-format on

    // Violated when THREADS_MASK is not a set of processors.
    class PANELKIT_EXPORT Error875 final : public Error<PCAP> {
    public:
        explicit Error875(PCAP& pcap);
        bool violated() const override;
    };
    Error875 error875{*this};
};

} // namespace LPARAMS::Client
