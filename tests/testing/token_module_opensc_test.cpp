// SPDX-License-Identifier: MIT
//
// The test token used by a third-party consumer. Only in builds whose module any program can load: a module with a
// sanitizer needs that sanitizer in the program.
#include "token_consumer.h"

#include <gmock/gmock.h>

#include <sstream>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// The arguments are separated by blanks.
std::string pkcs11Tool(const std::string& arguments) {
    std::vector<std::string> command{"pkcs11-tool", "--module", ModuleLibrary::path()};
    std::istringstream words(arguments);
    for (std::string word; words >> word;) command.push_back(word);
    return runProgram(command).output;
}

} // namespace

TEST_F(TheTestToken, IsUnderstoodByPkcs11Tool) {
    const CK_SESSION_HANDLE session = open();
    ASSERT_EQ(create(session, certificate("gateway").text(CKA_ID, "\x01\x02")), CKR_OK);
    ASSERT_EQ(login(session, "1234"), CKR_OK);
    ASSERT_EQ(create(session, presharedKey("between us")), CKR_OK);

    const std::string slots = pkcs11Tool("-L");
    EXPECT_THAT(slots, HasSubstr("token label        : Office\n"));
    EXPECT_THAT(slots, HasSubstr("login required, rng, token initialized, PIN initialized"));
    EXPECT_THAT(slots, HasSubstr("pin min/max        : 4/64"));
    const std::string open = pkcs11Tool("-O");
    EXPECT_THAT(open, HasSubstr("label:      gateway"));
    EXPECT_THAT(open, Not(HasSubstr("preshared")));
    EXPECT_THAT(pkcs11Tool("--login --pin 1234 -O"), HasSubstr("label:      preshared"));
    EXPECT_THAT(pkcs11Tool("--login --pin 9999 -O"), HasSubstr("CKR_PIN_INCORRECT"));
    EXPECT_THAT(pkcs11Tool("-L"), HasSubstr("user PIN count low"));
}

TEST_F(TheTestToken, IsPreparedAndFilledByPkcs11Tool) {
    control.insert("reader", "blank");
    pkcs11Tool("--init-token --label Branch --so-pin so-secret");
    pkcs11Tool("--login --login-type so --so-pin so-secret --init-pin --pin 4321");
    EXPECT_EQ(fieldText(tokenInfo().label).substr(0, 7), "Branch ");
    EXPECT_EQ(login(open(), "4321"), CKR_OK);
    pkcs11Tool("--login --pin 4321 --change-pin --new-pin 567890");
    pkcs11Tool("--login --pin 567890 --write-object " + ModuleLibrary::path() +
               " --type data --label module --private");
    EXPECT_EQ(find(open(), Template().text(CKA_LABEL, "module").number(CKA_CLASS, CKO_DATA)).size(), 1U);
    pkcs11Tool("--login --pin 567890 --delete-object --type data --label module");
    EXPECT_EQ(control.counters("blank").objects, 0U);
}
