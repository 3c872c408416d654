// SPDX-License-Identifier: MIT
//
// What holds for every record of the command stream.
#pragma once

#include "bytes.h"

#include <gtest/gtest.h>

// The record comes back equal from its bytes, and from nothing less than all of them.
template <class R>
void expectRoundTripAndNoShortForm(const R& record) {
    const std::string bytes = encoded(record);
    R back;
    CommandStreamIn in(bytes);
    in >> back;
    EXPECT_EQ(back, record);
    EXPECT_EQ(in.position(), bytes.size());
    EXPECT_EQ(firstPrefixThatReads<R>(bytes), std::string::npos);
}
