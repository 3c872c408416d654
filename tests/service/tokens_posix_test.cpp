// SPDX-License-Identifier: MIT
//
// Modules that are loaded by their paths on Linux: SoftHSM2, OpenSC, and files that are not modules.
#include "with_service.h"

namespace providerField = vocabulary::provider;

namespace {

class AServiceForModules : public WithService {
protected:
    AServiceForModules() : WithService({}) {}
};

TEST_F(AServiceForModules, RefusesModulesThatBreakTheRules) {
    EXPECT_THAT(load("libsofthsm2.so"), HasSubstr("not absolute"));
    EXPECT_THAT(load("/usr/lib/none.so"), HasSubstr("No such file"));
    EXPECT_THAT(load("/usr/lib"), HasSubstr("not a regular file"));
    EXPECT_THAT(load("/etc/hostname"), HasSubstr("does not work"));
    EXPECT_THAT(load("/usr/lib/softhsm/libsofthsm2.so"), HasSubstr("loaded already, as provider \"embedded\""));

    const std::string copy = service.folder().file("module.so");
    std::filesystem::copy_file("/usr/lib/softhsm/libsofthsm2.so", copy);
    std::filesystem::permissions(copy, std::filesystem::perms(0777));
    EXPECT_THAT(load(copy), HasSubstr("can be written by other accounts"));
    EXPECT_EQ(providers().size(), 1U) << "nothing is left of what failed";
}

TEST_F(AServiceForModules, LoadsRaisesRemembersAndUnloadsProviders) {
    ProviderInfo info;
    info.*providerField::path = "/usr/lib/x86_64-linux-gnu/pkcs11/opensc-pkcs11.so";
    info.*providerField::isRemembered = true;
    ASSERT_TRUE(tokens.ProviderLoad(info)) << info.*providerField::problem;
    EXPECT_EQ(info.*providerField::name, "opensc-pkcs11");
    EXPECT_TRUE(info.*providerField::isLoaded);
    EXPECT_TRUE(tokens.ProviderLevelUp(info));
    EXPECT_EQ(providers()[0], info);

    restart();
    ASSERT_EQ(providers().size(), 2U);
    EXPECT_EQ(providers()[0], info) << "order and providers survive a restart";

    EXPECT_TRUE(tokens.ProviderUnload(info));
    EXPECT_FALSE(tokens.ProviderUnload(info));
    EXPECT_EQ(refusal(), Refused::noSuchProvider);
    EXPECT_FALSE(tokens.ProviderUnload(providers()[0]));
    EXPECT_EQ(refusal(), Refused::embeddedProvider);

    info.*providerField::isRemembered = false;
    ASSERT_TRUE(tokens.ProviderLoad(info));
    EXPECT_TRUE(tokens.ProviderLevelUp(info)) << "which stores the list";
    restart();
    EXPECT_EQ(providers().size(), 1U);
}

} // namespace
