// SPDX-License-Identifier: MIT
//
// Whom and what the service trusts: accounts by their groups, files by their owners and permissions, PINs by the tries
// that are left.
#include <service/base/access.h>
#include <service/modules/pin_tries.h>
#include <service/modules/trusted_file.h>

#include "../support/running_service.h"
#include "../support/test.h"
#include "refusal_of.h"

#include <platform/bridge/peer.h>
#include <platform/system/files.h>
#include <platform/system/host.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace panelkitd;
using vocabulary::Refused;

namespace {

TEST(AnAccount, IsKnownByItsGroups) {
    Access access("games", "staff");
    const auto of = [](const char* group) { return bridge::Peer{"64001", {platform::groupId(group)}, false}; };
    const auto is = [&](const bridge::Peer& peer) { return access.admits(peer) + access.isAdministrator(peer); };
    EXPECT_EQ(is({"64001", {}, false}), 0);
    EXPECT_EQ(is(of("users")), 0);
    EXPECT_EQ(is(of("games")), 1);
    EXPECT_EQ(is(of("staff")), 2);
    EXPECT_EQ(is({"64001", {}, true}), 2) << "root";
    EXPECT_EQ(is({bridge::self().user, {}, false}), 2) << "the service's own account, which may not be root";
    access.setAdministratorsGroup("users");
    EXPECT_EQ(is(of("users")), 2);
    EXPECT_EQ(is(of("staff")), 0);
    for (const char* none : {"", "no such group"}) {
        access.setAdministratorsGroup(none);
        EXPECT_EQ(is({"64001", {""}, false}), 0);
    }
}

// ---- files

class AFileOfTheService : public testing::Test {
protected:
    AFileOfTheService() {
        std::filesystem::create_directory(inner);
        platform::replaceFile(file, "1234\n", true);
    }
    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    }
    Refused asModule() const {
        return refusalOf([&] { checkedModulePath(file, {}); });
    }
    Refused asPin() const {
        return refusalOf([&] { readPinFile(file); });
    }
    static void give(const std::string& path, uid_t user, gid_t group, mode_t mode) {
        ASSERT_EQ(::chown(path.c_str(), user, group), 0);
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    }

    TemporaryFolder folder;
    const std::string inner = folder.file("inner"), file = inner + "/file";
};

TEST_F(AFileOfTheService, IsUsedWhenOnlyTrustedAccountsCanWriteItAndItsFolders) {
    constexpr uid_t somebody = 65534;
    const struct {
        uid_t user;
        gid_t group;
        mode_t mode;
        bool ofFolder, ofFile; // whether it is trusted with these
    } rows[] = {
        {0, 0, 0755, true, true},          {0, 0, 0775, true, true},           {0, somebody, 0755, true, true},
        {0, somebody, 0775, false, false}, {0, 0, 0757, false, false},         {0, 0, 01777, true, false}, // as /tmp
        {somebody, 0, 0755, false, false}, {somebody, 0, 01755, false, false},
    };
    for (const auto& [user, group, mode, ofFolder, ofFile] : rows) {
        SCOPED_TRACE(testing::Message() << user << ' ' << group << ' ' << std::oct << mode);
        give(inner, 0, 0, 0755);
        give(file, user, group, mode);
        EXPECT_EQ(asModule(), ofFile ? Refused::none : Refused::modulePath);
        give(file, 0, 0, 0644);
        give(inner, user, group, mode);
        EXPECT_EQ(asModule(), ofFolder ? Refused::none : Refused::modulePath);
    }
    EXPECT_EQ(refusalOf([&] { checkedModulePath(file, {file}); }), Refused::none) << "one that an administrator allows";
    EXPECT_EQ(refusalOf([&] { checkedModulePath(inner, {}); }), Refused::modulePath);
    EXPECT_EQ(refusalOf([&] { checkedModulePath("file", {"file"}); }), Refused::modulePath);
    EXPECT_EQ(refusalOf([&] { checkedModulePath("", {}); }), Refused::modulePath);
}

TEST_F(AFileOfTheService, HoldsAPinThatNobodyElseReads) {
    give(file, 0, 0, 0600);
    EXPECT_EQ(readPinFile(file).view(), "1234");
    for (const mode_t mode : {0640U, 0620U, 0610U, 0604U, 0601U}) {
        give(file, 0, 0, mode);
        EXPECT_EQ(asPin(), Refused::badInput) << std::oct << mode;
    }
    give(file, 65534, 0, 0600);
    EXPECT_EQ(asPin(), Refused::badInput);
    give(file, 0, 0, 0600);
    for (const auto& [content, good] :
         {std::pair(std::string("12 34"), true), std::pair(std::string("\n"), false), std::pair(std::string(), false),
          std::pair(std::string(1024, '1'), true), std::pair(std::string(1025, '1'), false)}) {
        platform::replaceFile(file, content, true);
        EXPECT_EQ(asPin(), good ? Refused::none : Refused::badInput) << content;
    }
}

// ---- tries

TEST(ThePinOf, EitherUserHasItsOwnTries) {
    const struct {
        CK_FLAGS user, officer;
        bool mayBeFinal;
        Refused refused;
    } rows[] = {
        {0, 0, false, Refused::none},
        {CKF_USER_PIN_COUNT_LOW, CKF_SO_PIN_COUNT_LOW, false, Refused::none},
        {CKF_USER_PIN_FINAL_TRY, CKF_SO_PIN_FINAL_TRY, false, Refused::finalTry},
        {CKF_USER_PIN_FINAL_TRY, CKF_SO_PIN_FINAL_TRY, true, Refused::none},
        {CKF_USER_PIN_LOCKED, CKF_SO_PIN_LOCKED, true, Refused::pinLocked},
    };
    const auto guarded = [](CK_FLAGS flags, PinOf whose, bool mayBeFinal) {
        return refusalOf([&] { guardFinalTry(flags, whose, mayBeFinal); });
    };
    for (const auto& [user, officer, mayBeFinal, refused] : rows) {
        EXPECT_EQ(guarded(user, PinOf::user, mayBeFinal), refused);
        EXPECT_EQ(guarded(officer, PinOf::securityOfficer, mayBeFinal), refused);
        EXPECT_EQ(guarded(user, PinOf::securityOfficer, false), Refused::none) << "not by the other's";
        EXPECT_EQ(guarded(officer, PinOf::user, false), Refused::none);
    }
}

} // namespace
