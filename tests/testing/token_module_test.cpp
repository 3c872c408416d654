// SPDX-License-Identifier: MIT
#include "token_consumer.h"

#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>

#include <gmock/gmock.h>

#include <chrono>
#include <map>
#include <set>
#include <thread>

using namespace std::chrono_literals;
using panelkit::testing::TokenModuleControl;
using ::testing::HasSubstr;

namespace {

// Calls every function of the list, with arguments that do no harm.
std::map<std::string, CK_RV> callEverything(CK_C_GetFunctionList getFunctionList, CK_FUNCTION_LIST& p11) {
    CK_FUNCTION_LIST* list = nullptr;
    // clang-format off
    return {
        {"C_GetFunctionList",   getFunctionList(&list)},
        {"C_Initialize",        p11.C_Initialize(nullptr)},
        {"C_Finalize",          p11.C_Finalize(&list)},
        {"C_GetInfo",           p11.C_GetInfo(nullptr)},
        {"C_GetSlotList",       p11.C_GetSlotList(0, nullptr, nullptr)},
        {"C_GetSlotInfo",       p11.C_GetSlotInfo(0, nullptr)},
        {"C_GetTokenInfo",      p11.C_GetTokenInfo(0, nullptr)},
        {"C_GetMechanismList",  p11.C_GetMechanismList(0, nullptr, nullptr)},
        {"C_GetMechanismInfo",  p11.C_GetMechanismInfo(0, 0, nullptr)},
        {"C_InitToken",         p11.C_InitToken(0, nullptr, 0, nullptr)},
        {"C_InitPIN",           p11.C_InitPIN(0, nullptr, 0)},
        {"C_SetPIN",            p11.C_SetPIN(0, nullptr, 0, nullptr, 0)},
        {"C_OpenSession",       p11.C_OpenSession(0, 0, nullptr, nullptr, nullptr)},
        {"C_CloseSession",      p11.C_CloseSession(0)},
        {"C_CloseAllSessions",  p11.C_CloseAllSessions(0)},
        {"C_GetSessionInfo",    p11.C_GetSessionInfo(0, nullptr)},
        {"C_Login",             p11.C_Login(0, 0, nullptr, 0)},
        {"C_Logout",            p11.C_Logout(0)},
        {"C_CreateObject",      p11.C_CreateObject(0, nullptr, 0, nullptr)},
        {"C_DestroyObject",     p11.C_DestroyObject(0, 0)},
        {"C_GetAttributeValue", p11.C_GetAttributeValue(0, 0, nullptr, 1)},
        {"C_SetAttributeValue", p11.C_SetAttributeValue(0, 0, nullptr, 1)},
        {"C_FindObjectsInit",   p11.C_FindObjectsInit(0, nullptr, 1)},
        {"C_FindObjects",       p11.C_FindObjects(0, nullptr, 0, nullptr)},
        {"C_FindObjectsFinal",  p11.C_FindObjectsFinal(0)},
        {"C_GenerateKeyPair",   p11.C_GenerateKeyPair(0, nullptr, nullptr, 0, nullptr, 0, nullptr, nullptr)},
        {"C_SignInit",          p11.C_SignInit(0, nullptr, 0)},
        {"C_Sign",              p11.C_Sign(0, nullptr, 0, nullptr, nullptr)},
        {"C_SeedRandom",        p11.C_SeedRandom(0, nullptr, 0)},
        {"C_GenerateRandom",    p11.C_GenerateRandom(0, nullptr, 0)},
        {"C_WaitForSlotEvent",  p11.C_WaitForSlotEvent(CKF_DONT_BLOCK, nullptr, nullptr)},
    };
    // clang-format on
}

} // namespace

TEST_F(TheTestToken, RecordsAndFailsEveryFunctionThatItSays) {
    control.recordCalls();
    std::set<std::string> supported;
    for (const auto& row : panelkit::testing::steerableFunctions()) supported.emplace(row.name);
    std::set<std::string> called;
    for (const auto& [name, result] : callEverything(library.getFunctionList(), *p11)) {
        EXPECT_EQ(control.calls(name), 1U) << name;
        called.insert(name);
        control.fail(name, CKR_DEVICE_ERROR);
    }
    EXPECT_EQ(called, supported);
    for (const auto& [name, result] : callEverything(library.getFunctionList(), *p11)) {
        EXPECT_EQ(result, CKR_DEVICE_ERROR) << name;
    }
    control.clearFaults();
    EXPECT_EQ(p11->C_GenerateKey(0, nullptr, nullptr, 0, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
}

TEST_F(TheTestToken, KeepsTheRulesOfSessionsAndLogIns) {
    CK_SESSION_HANDLE parallel = 0;
    EXPECT_EQ(p11->C_OpenSession(slot(), 0, nullptr, nullptr, &parallel), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    const CK_SESSION_HANDLE reader = open(readOnly);
    const CK_SESSION_HANDLE writer = open();
    const auto state = [&](CK_SESSION_HANDLE session) {
        CK_SESSION_INFO info{};
        EXPECT_EQ(p11->C_GetSessionInfo(session, &info), CKR_OK);
        return info.state;
    };
    EXPECT_EQ(state(reader), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(state(writer), CKS_RW_PUBLIC_SESSION);
    EXPECT_EQ(tokenInfo().ulSessionCount, 2U);
    EXPECT_EQ(tokenInfo().ulRwSessionCount, 1U);
    EXPECT_EQ(login(writer, "so-secret", CKU_SO), CKR_SESSION_READ_ONLY_EXISTS);
    EXPECT_EQ(setPin(reader, "1234", "5678"), CKR_SESSION_READ_ONLY);
    EXPECT_EQ(login(reader, "1234", 7), CKR_USER_TYPE_INVALID);
    EXPECT_EQ(login(reader, "1234"), CKR_OK);
    EXPECT_EQ(state(writer), CKS_RW_USER_FUNCTIONS);
    EXPECT_EQ(login(writer, "1234"), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(login(writer, "so-secret", CKU_SO), CKR_USER_ANOTHER_ALREADY_LOGGED_IN);

    EXPECT_EQ(p11->C_CloseSession(reader), CKR_OK);
    EXPECT_EQ(p11->C_CloseSession(reader), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(p11->C_CloseSession(writer), CKR_OK); // closing the last one logs out
    const CK_SESSION_HANDLE officer = open();
    EXPECT_EQ(p11->C_Logout(officer), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(login(officer, "so-secret", CKU_SO), CKR_OK);
    EXPECT_EQ(state(officer), CKS_RW_SO_FUNCTIONS);
    EXPECT_EQ(p11->C_OpenSession(slot(), readOnly, nullptr, nullptr, &parallel), CKR_SESSION_READ_WRITE_SO_EXISTS);
}

TEST_F(TheTestToken, TakesItsSessionsWithItWhenItIsRemoved) {
    const CK_SLOT_ID id = slot();
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(login(session, "1234"), CKR_OK);
    control.remove("reader");
    CK_SESSION_INFO info;
    EXPECT_EQ(p11->C_GetSessionInfo(session, &info), CKR_SESSION_HANDLE_INVALID);
    CK_TOKEN_INFO token;
    EXPECT_EQ(p11->C_GetTokenInfo(id, &token), CKR_TOKEN_NOT_PRESENT);
    EXPECT_TRUE(slots().empty());
    EXPECT_EQ(slots(false), std::vector<CK_SLOT_ID>{id});

    control.insert("reader", "office");
    const CK_SESSION_HANDLE next = open();
    EXPECT_EQ(p11->C_Logout(next), CKR_USER_NOT_LOGGED_IN);
    control.remove("reader"); // before the module can see the slot empty
    control.insert("reader", "office");
    EXPECT_EQ(p11->C_GetSessionInfo(next, &info), CKR_SESSION_HANDLE_INVALID);

    // Removed while a call is in progress: the result is different.
    control.recordCalls();
    control.slow("C_Login", 300ms);
    const CK_SESSION_HANDLE last = open();
    std::thread remover([&] {
        EXPECT_TRUE(control.waitForCalls("C_Login", 1));
        control.removeSlot("reader");
    });
    EXPECT_EQ(login(last, "1234"), CKR_DEVICE_REMOVED);
    remover.join();
    EXPECT_EQ(login(last, "1234"), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(p11->C_GetTokenInfo(id, &token), CKR_SLOT_ID_INVALID);
}

TEST_F(TheTestToken, TellsWhereTokensCameAndWent) {
    CK_SLOT_ID where = 0;
    EXPECT_EQ(p11->C_WaitForSlotEvent(CKF_DONT_BLOCK, &where, nullptr), CKR_NO_EVENT);
    const CK_SLOT_ID reader = slot();
    control.remove("reader");
    control.insert("second", "branch");
    EXPECT_EQ(p11->C_WaitForSlotEvent(CKF_DONT_BLOCK, &where, nullptr), CKR_OK);
    EXPECT_EQ(where, reader);
    EXPECT_EQ(p11->C_WaitForSlotEvent(CKF_DONT_BLOCK, &where, nullptr), CKR_OK);
    EXPECT_EQ(where, slot());
    EXPECT_EQ(p11->C_WaitForSlotEvent(CKF_DONT_BLOCK, &where, nullptr), CKR_NO_EVENT);

    control.recordCalls();
    std::thread inserter([&] {
        EXPECT_TRUE(control.waitForCalls("C_WaitForSlotEvent", 1));
        control.insert("reader", "office");
    });
    EXPECT_EQ(p11->C_WaitForSlotEvent(0, &where, nullptr), CKR_OK);
    EXPECT_EQ(where, reader);
    inserter.join();

    std::thread waiter([&] {
        CK_SLOT_ID none = 0;
        EXPECT_EQ(p11->C_WaitForSlotEvent(0, &none, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    });
    EXPECT_TRUE(control.waitForCalls("C_WaitForSlotEvent", 2));
    restart();
    waiter.join();
}

TEST_F(TheTestToken, ListsSlotsUnderOddNumbersThatMayChange) {
    control.insert("second", "branch");
    control.addSlot("third");
    EXPECT_EQ(slots(false).size(), 3U);
    const std::vector<CK_SLOT_ID> before = slots();
    EXPECT_EQ(before.size(), 2U);
    EXPECT_THAT(before, ::testing::Each(::testing::Ge(0x10000U)));
    std::vector<CK_SLOT_ID> small(1);
    CK_ULONG room = 1;
    EXPECT_EQ(p11->C_GetSlotList(1, small.data(), &room), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(room, 2U);

    restart();
    EXPECT_EQ(slots(), before);
    control.renumberSlots();
    EXPECT_EQ(slots(), before); // not while it is in use
    restart();
    EXPECT_NE(slots(), before);
    EXPECT_EQ(fieldText(tokenInfo().label).substr(0, 6), "Office");
}

TEST_F(TheTestToken, AnswersNonsenseWhenItIsTold) {
    const CK_SESSION_HANDLE session = open();
    CK_OBJECT_HANDLE object = 0;
    ASSERT_EQ(create(session, Template().number(CKA_CLASS, CKO_DATA).text(CKA_LABEL, "gateway"), &object), CKR_OK);

    control.garbage("C_GetTokenInfo");
    const std::string label = fieldText(tokenInfo().label);
    EXPECT_EQ(label.substr(0, 3), "\xFF\xFE\x1B");
    EXPECT_NE(label.back(), ' ');

    control.count("C_GetSlotList", 1'000'000'000);
    CK_SLOT_ID slot = 0;
    CK_ULONG count = 1;
    EXPECT_EQ(p11->C_GetSlotList(1, &slot, &count), CKR_OK);
    EXPECT_EQ(count, 1'000'000'000U);
    control.count("C_GetAttributeValue", 77777);
    control.garbage("C_GetAttributeValue");
    Template read;
    read.text(CKA_LABEL, std::string(20, '?')); // room for a value
    EXPECT_EQ(p11->C_GetAttributeValue(session, object, read.data(), 1), CKR_OK);
    EXPECT_EQ(read.claimed(0), 77777U);
    EXPECT_THAT(read.value(0), HasSubstr("\x1B[31m"));

    control.version("C_GetInfo", 9, 1);
    CK_INFO info{};
    EXPECT_EQ(p11->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(info.cryptokiVersion.major, 9);
    EXPECT_EQ(fieldText(info.manufacturerID), "panelkit                        ");
    control.fail("C_GetInfo", CKR_OK); // a success that did nothing
    info = {};
    EXPECT_EQ(p11->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(info.cryptokiVersion.major, 0);
}

TEST(AFunctionListOfTheTestToken, IsMissingOrIncompleteWhenItIsTold) {
    TokenModuleControl control;
    control.enter();
    control.null("C_Login");
    control.version("C_GetFunctionList", 1, 0);
    const ModuleLibrary library;
    CK_FUNCTION_LIST* list = nullptr;
    ASSERT_EQ(library.getFunctionList()(&list), CKR_OK);
    EXPECT_EQ(list->version.major, 1);
    EXPECT_EQ(list->C_Login, nullptr);
    EXPECT_NE(list->C_Logout, nullptr);
    control.null("C_GetFunctionList");
    EXPECT_EQ(library.getFunctionList()(&list), CKR_OK);
    EXPECT_EQ(list, nullptr);
}

TEST_F(TheTestToken, DoesNotTakeAMisspeltFaultForNone) {
    EXPECT_THROW(control.slow("C_Logn", 1s), std::invalid_argument);
    EXPECT_THROW(control.garbage("C_Login"), std::invalid_argument);
    EXPECT_THROW(control.insert("reader", "../elsewhere"), std::invalid_argument);
    CK_INFO info;
    for (const char* line : {"slwo: C_Login 3", "slow: C_Login soon", "slow: C_Login", "hang: C_Login 3", "null:"}) {
        panelkit::testing::replaceFile(std::filesystem::path(control.folder()) / "faults", line);
        EXPECT_EQ(p11->C_GetInfo(&info), CKR_GENERAL_ERROR) << line;
    }
    panelkit::testing::replaceFile(std::filesystem::path(control.folder()) / "faults", "# slow: C_GetInfo 3\r\n\n");
    EXPECT_EQ(p11->C_GetInfo(&info), CKR_OK);
}

TEST_F(TheTestToken, PretendsKeysOnRequest) {
    const CK_SESSION_HANDLE session = open();
    ASSERT_EQ(login(session, "1234"), CKR_OK);
    CK_ULONG bits = 2048;
    CK_BBOOL kept = CK_TRUE;
    CK_ATTRIBUTE publicKey{CKA_MODULUS_BITS, &bits, sizeof bits}, privateKey{CKA_TOKEN, &kept, sizeof kept};
    CK_MECHANISM making{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0}, signing{CKM_RSA_PKCS, nullptr, 0};
    CK_OBJECT_HANDLE verifier = 0, signer = 0;
    const auto make = [&] {
        return p11->C_GenerateKeyPair(session, &making, &publicKey, 1, &privateKey, 1, &verifier, &signer);
    };
    EXPECT_EQ(make(), CKR_MECHANISM_INVALID);
    control.setTraits("office", {.pretendsKeys = true});
    ASSERT_EQ(make(), CKR_OK);
    EXPECT_EQ(p11->C_SignInit(session, &signing, verifier), CKR_KEY_TYPE_INCONSISTENT);
    ASSERT_EQ(p11->C_SignInit(session, &signing, signer), CKR_OK);
    unsigned char digest[32]{}, signature[256]{};
    CK_ULONG size = 255;
    EXPECT_EQ(p11->C_Sign(session, digest, 32, signature, &size), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 256U);
    EXPECT_EQ(p11->C_Sign(session, digest, 32, signature, &size), CKR_OK);
    EXPECT_EQ(p11->C_Sign(session, digest, 32, signature, &size), CKR_OPERATION_NOT_INITIALIZED);
}
