// SPDX-License-Identifier: MIT
//
// Loads the test token module in a process of its own, does one thing with the first token that it finds, and reports
// its steps. A line is written before the next call, so after a crash the last line shows the place.
//
//   token_module_probe list         the ids of the slots with a token
//   token_module_probe login PIN    the result of the log-in as a user
//   token_module_probe objects      how many objects are visible without a log-in
#include "module_library.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

void say(const char* what, CK_ULONG number) { std::cout << what << " " << std::hex << number << std::endl; }

void logIn(CK_FUNCTION_LIST& p11, CK_SESSION_HANDLE session, std::string pin) {
    auto* bytes = reinterpret_cast<unsigned char*>(pin.data());
    say("login", p11.C_Login(session, CKU_USER, bytes, static_cast<CK_ULONG>(pin.size())));
}

void countObjects(CK_FUNCTION_LIST& p11, CK_SESSION_HANDLE session) {
    std::vector<CK_OBJECT_HANDLE> objects(1000);
    CK_ULONG count = 0;
    p11.C_FindObjectsInit(session, nullptr, 0);
    p11.C_FindObjects(session, objects.data(), 1000, &count);
    say("objects", count);
}

void act(CK_FUNCTION_LIST& p11, const std::vector<CK_SLOT_ID>& slots, int argc, char** argv) {
    const std::string verb = argc > 1 ? argv[1] : "list";
    for (const CK_SLOT_ID slot : slots) say("slot", slot);
    if (verb == "list" || slots.empty()) return;
    CK_SESSION_HANDLE session = 0;
    say("session", p11.C_OpenSession(slots[0], CKF_SERIAL_SESSION, nullptr, nullptr, &session));
    if (verb == "login") logIn(p11, session, argc > 2 ? argv[2] : "");
    if (verb == "objects") countObjects(p11, session);
}

} // namespace

int main(int argc, char** argv) {
    const ModuleLibrary library;
    CK_FUNCTION_LIST* p11 = nullptr;
    say("loaded", library.getFunctionList()(&p11));
    if (!p11) return 2;
    say("initialised", p11->C_Initialize(nullptr));
    std::vector<CK_SLOT_ID> slots(10);
    auto count = static_cast<CK_ULONG>(slots.size());
    if (p11->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) return 3;
    slots.resize(count);
    act(*p11, slots, argc, argv);
    say("finalised", p11->C_Finalize(nullptr));
    return 0;
}
