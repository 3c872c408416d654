// SPDX-License-Identifier: MIT
#include <panelkit/format/nearest.h>

#include "../../support/test.h"

using panelkit::nearest;

namespace {

const std::vector<std::string> verbs{"list", "login", "logout", "init", "change-pin"};

TEST(NearestName, IsTheOneWithTheFewestSlips) {
    EXPECT_EQ(nearest("lst", verbs), "list");
    EXPECT_EQ(nearest("ilst", verbs), "list") << "two letters in the wrong order are one slip";
    EXPECT_EQ(nearest("teh", {"the"}), "the") << "in a short word too";
    EXPECT_EQ(nearest("LOGON", verbs), "login");
    EXPECT_EQ(nearest("Ofice", {"Home Дом", "Office Офис"}), "Office Офис");
    EXPECT_EQ(nearest("офйс", {"дом", "офис"}), "офис") << "a slip is a character, not a byte";
}

TEST(NearestName, IsElseTheFirstThatBeginsSo) {
    EXPECT_EQ(nearest("change", verbs), "change-pin");
    EXPECT_EQ(nearest("EXCHANGE", {"LIFETIME", "EXCHANGE_TIMEOUT", "EXCHANGE_LIMIT"}), "EXCHANGE_TIMEOUT");
    EXPECT_EQ(nearest("c", verbs), "") << "one letter says too little";
}

TEST(NearestName, IsNoneWhenAllDifferTooMuch) {
    EXPECT_EQ(nearest("frobnicate", verbs), "");
    EXPECT_EQ(nearest("", verbs), "");
    EXPECT_EQ(nearest(std::string(201, 'a'), {std::string_view("a")}), "");
}

} // namespace
