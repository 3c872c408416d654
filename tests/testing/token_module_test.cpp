// SPDX-License-Identifier: MIT
#include "token_consumer.h"

#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;
using panelkit::testing::TokenModuleControl;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr CK_FLAGS pinTrouble = CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_LOCKED |
                                CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED;

unsigned char* bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

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
        {"C_SeedRandom",        p11.C_SeedRandom(0, nullptr, 0)},
        {"C_GenerateRandom",    p11.C_GenerateRandom(0, nullptr, 0)},
        {"C_WaitForSlotEvent",  p11.C_WaitForSlotEvent(CKF_DONT_BLOCK, nullptr, nullptr)},
    };
    // clang-format on
}

} // namespace

TEST(ATestTokenModule, OffersOneEmptySlotWithoutAFolder) {
    panelkit::testing::setFolderInEnvironment({});
    const ModuleLibrary library;
    CK_FUNCTION_LIST* p11 = nullptr;
    ASSERT_EQ(library.getFunctionList()(&p11), CKR_OK);
    CK_ULONG count = 99;
    EXPECT_EQ(p11->C_GetSlotList(0, nullptr, &count), CKR_CRYPTOKI_NOT_INITIALIZED);

    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    ASSERT_EQ(p11->C_Initialize(&arguments), CKR_OK);
    EXPECT_EQ(p11->C_Initialize(&arguments), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    EXPECT_EQ(p11->C_GetSlotList(1, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
    CK_SLOT_ID slot = 0;
    count = 1;
    EXPECT_EQ(p11->C_GetSlotList(0, &slot, &count), CKR_OK);
    EXPECT_GE(slot, 0x10000U);
    CK_TOKEN_INFO info;
    EXPECT_EQ(p11->C_GetTokenInfo(slot, &info), CKR_TOKEN_NOT_PRESENT);
    EXPECT_EQ(p11->C_GetTokenInfo(0, &info), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(p11->C_Finalize(nullptr), CKR_OK);
}

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

TEST_F(TheTestToken, IsUnlockedByTheSecurityOfficerWhoHasTriesOfHisOwn) {
    control.setTraits("office", {.tries = 2});
    const CK_SESSION_HANDLE session = open();
    while (login(session, "wrong") != CKR_PIN_LOCKED) {}
    EXPECT_EQ(login(session, "wrong", CKU_SO), CKR_PIN_INCORRECT);
    EXPECT_EQ(tokenFlags(CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY), CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY);
    ASSERT_EQ(login(session, "so-secret", CKU_SO), CKR_OK);
    std::string pin = "new pin";
    EXPECT_EQ(p11->C_InitPIN(session, bytes(pin), 7), CKR_OK);
    EXPECT_EQ(setPin(session, "so-secret", "so-other"), CKR_OK);
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    EXPECT_EQ(login(session, "new pin"), CKR_OK);
    EXPECT_EQ(setPin(session, "new pin", std::string(64, 'x')), CKR_OK);
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    EXPECT_EQ(login(session, std::string(64, 'x')), CKR_OK);
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    EXPECT_EQ(login(session, "so-other", CKU_SO), CKR_OK);
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    while (login(session, "wrong", CKU_SO) != CKR_PIN_LOCKED) {}
    EXPECT_EQ(tokenFlags(pinTrouble), CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_LOCKED);
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

TEST_F(TheTestToken, LetsSessionObjectsGoWithTheirSession) {
    const CK_SESSION_HANDLE maker = open(readOnly);
    const CK_SESSION_HANDLE other = open(readOnly);
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(create(maker, Template().number(CKA_CLASS, CKO_DATA).text(CKA_VALUE, "a list"), &object), CKR_OK);
    EXPECT_THAT(find(other), ElementsAre(object));
    EXPECT_EQ(control.counters("office").objects, 0U);
    EXPECT_EQ(p11->C_CloseSession(maker), CKR_OK);
    EXPECT_THAT(find(other), ElementsAre());
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
    ASSERT_EQ(create(session, certificate("gateway"), &object), CKR_OK);

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
    read.room(CKA_LABEL, 20);
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

TEST_F(TheTestToken, GivesRandomBytesAndCountsThoseOfASeed) {
    const CK_SESSION_HANDLE session = open(readOnly);
    std::string one(32, '\0');
    std::string other(32, '\0');
    EXPECT_EQ(p11->C_GenerateRandom(session, bytes(one), 32), CKR_OK);
    EXPECT_EQ(p11->C_GenerateRandom(session, bytes(other), 32), CKR_OK);
    EXPECT_NE(one, other);
    EXPECT_EQ(p11->C_SeedRandom(session, bytes(one), 32), CKR_OK);
    EXPECT_EQ(p11->C_SeedRandom(session, bytes(one), 8), CKR_OK);
    EXPECT_EQ(control.counters("office").seededBytes, 40U);
}

TEST_F(TheTestToken, ServesEightThreadsAtOnceWhileTokensComeAndGo) {
    constexpr int rounds = 10;
    const auto work = [&](std::size_t number) {
        const std::string label = "of thread " + std::to_string(number);
        for (int round = 0; round < rounds; ++round) {
            const CK_SESSION_HANDLE session = open();
            CK_OBJECT_HANDLE object = 0;
            EXPECT_EQ(create(session, certificate(label), &object), CKR_OK);
            EXPECT_THAT(find(session, Template().text(CKA_LABEL, label)), ElementsAre(object));
            EXPECT_EQ(p11->C_DestroyObject(session, object), CKR_OK);
            EXPECT_EQ(p11->C_CloseSession(session), CKR_OK);
        }
    };
    std::vector<std::thread> threads(8);
    for (std::size_t i = 0; i < threads.size(); ++i) threads[i] = std::thread(work, i);
    for (int round = 0; round < rounds; ++round) {
        control.insert("second", "branch");
        control.remove("second");
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(control.counters("office").objects, 0U);
}
