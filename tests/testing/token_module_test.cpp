// SPDX-License-Identifier: MIT
//
// The test token module, loaded by this process over a folder with the token "office" in the slot "reader": what the
// service's tests do not use of it, or take for granted.
#include "../support/running_service.h"
#include "../support/test.h"

#include <platform/system/dynamic_library.h>
#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>
#include <testing/token_module_control.h>

#include <p11-kit/pkcs11.h>

namespace {

class TheTestToken : public ::testing::Test {
protected:
    TheTestToken() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.insert("reader", "office");
        control.enter();
        getFunctionList(&p11);
        EXPECT_EQ(p11->C_Initialize(nullptr), CKR_OK);
    }
    ~TheTestToken() override { p11->C_Finalize(nullptr); }

    void restart() {
        EXPECT_EQ(p11->C_Finalize(nullptr), CKR_OK);
        EXPECT_EQ(p11->C_Initialize(nullptr), CKR_OK);
    }
    // Has room from the start: between a call for the size and one for the slots, a token may be inserted.
    std::vector<CK_SLOT_ID> slots(bool withToken = true) {
        std::vector<CK_SLOT_ID> ids(100);
        CK_ULONG count = 100;
        EXPECT_EQ(p11->C_GetSlotList(withToken, ids.data(), &count), CKR_OK);
        ids.resize(count);
        return ids;
    }
    CK_TOKEN_INFO tokenInfo() {
        CK_TOKEN_INFO info{};
        EXPECT_EQ(p11->C_GetTokenInfo(slots().at(0), &info), CKR_OK);
        return info;
    }
    CK_SESSION_HANDLE open(CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION) {
        CK_SESSION_HANDLE session = 0;
        EXPECT_EQ(p11->C_OpenSession(slots().at(0), flags, nullptr, nullptr, &session), CKR_OK);
        return session;
    }
    CK_RV login(CK_SESSION_HANDLE session, std::string pin, CK_USER_TYPE user = CKU_USER) {
        auto* bytes = reinterpret_cast<unsigned char*>(pin.data());
        return p11->C_Login(session, user, bytes, static_cast<CK_ULONG>(pin.size()));
    }

    panelkit::testing::TokenModuleControl control; // outlives the module
    platform::DynamicLibrary library{builtProgram(PANELKIT_TEST_TOKEN_FILE)};
    CK_C_GetFunctionList getFunctionList = library.function<CK_C_GetFunctionList>("C_GetFunctionList");
    CK_FUNCTION_LIST* p11 = nullptr;
};

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

TEST_F(TheTestToken, RecordsAndFailsEveryFunctionThatItSays) {
    control.recordCalls();
    std::set<std::string> supported;
    for (const auto& row : panelkit::testing::steerableFunctions()) supported.emplace(row.name);
    std::set<std::string> called;
    for (const auto& [name, result] : callEverything(getFunctionList, *p11)) {
        EXPECT_EQ(control.calls(name), 1U) << name;
        called.insert(name);
        control.fail(name, CKR_DEVICE_ERROR);
    }
    EXPECT_EQ(called, supported);
    for (const auto& [name, result] : callEverything(getFunctionList, *p11)) {
        EXPECT_EQ(result, CKR_DEVICE_ERROR) << name;
    }
    control.clearFaults();
    EXPECT_EQ(p11->C_GenerateKey(0, nullptr, nullptr, 0, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
}

TEST_F(TheTestToken, KeepsTheRulesOfSessionsAndLogIns) {
    CK_SESSION_HANDLE parallel = 0;
    EXPECT_EQ(p11->C_OpenSession(slots().at(0), 0, nullptr, nullptr, &parallel), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    const CK_SESSION_HANDLE reader = open(CKF_SERIAL_SESSION);
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
    unsigned char pin[]{'1', '2', '3', '4'};
    EXPECT_EQ(p11->C_SetPIN(reader, pin, 4, pin, 4), CKR_SESSION_READ_ONLY);
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
    EXPECT_EQ(p11->C_OpenSession(slots().at(0), CKF_SERIAL_SESSION, nullptr, nullptr, &parallel),
              CKR_SESSION_READ_WRITE_SO_EXISTS);
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
    EXPECT_EQ(tokenInfo().label[0], 'O');
}

// A call that waits, or works, hears of what happens meanwhile.
TEST_F(TheTestToken, WakesWhoWaitsForItAndEndsCallsWhenItsReaderIsRemoved) {
    const CK_SLOT_ID reader = slots().at(0);
    const auto wait = [&](CK_SLOT_ID& where) { return p11->C_WaitForSlotEvent(0, &where, nullptr); };
    control.recordCalls();
    std::thread hand([&] {
        EXPECT_TRUE(control.waitForCalls("C_WaitForSlotEvent", 1));
        control.remove("reader");
        EXPECT_TRUE(control.waitForCalls("C_WaitForSlotEvent", 2));
        control.insert("reader", "office");
    });
    for (int i = 0; i < 2; ++i) {
        CK_SLOT_ID where = 0;
        EXPECT_EQ(wait(where), CKR_OK);
        EXPECT_EQ(where, reader);
    }
    hand.join();

    control.slow("C_Login", 300ms);
    const CK_SESSION_HANDLE session = open();
    std::thread remover([&] {
        EXPECT_TRUE(control.waitForCalls("C_Login", 1));
        control.removeSlot("reader");
    });
    EXPECT_EQ(login(session, "1234"), CKR_DEVICE_REMOVED);
    remover.join();
    EXPECT_EQ(login(session, "1234"), CKR_SESSION_HANDLE_INVALID);

    CK_SLOT_ID none = 0;
    while (p11->C_WaitForSlotEvent(CKF_DONT_BLOCK, &none, nullptr) == CKR_OK) {}
    const std::uint64_t calls = control.calls("C_WaitForSlotEvent");
    std::thread waiter([&] { EXPECT_EQ(wait(none), CKR_CRYPTOKI_NOT_INITIALIZED); });
    EXPECT_TRUE(control.waitForCalls("C_WaitForSlotEvent", calls + 1));
    restart();
    waiter.join();
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

} // namespace
