// SPDX-License-Identifier: MIT
//
// Checks for every record of the command stream.
#pragma once

#include "bytes.h"
#include "test.h"

// Reading a record's bytes returns an equal record, and every shorter part of them is refused.
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
