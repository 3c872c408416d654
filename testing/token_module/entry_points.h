// SPDX-License-Identifier: MIT
//
// The functions of the module's function list: they check pointers, call the model, and fill in the answer, or garbage
// on request. Functions of the standard that are not here return CKR_FUNCTION_NOT_SUPPORTED.
#pragma once

#include <p11-kit/pkcs11.h>

namespace panelkit::testing::entry {

// general_entries.cpp
CK_RV initialize(void* arguments);
CK_RV finalize(void* reserved);
CK_RV getInfo(CK_INFO* info);
CK_RV getSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID* slots, CK_ULONG* count);
CK_RV getSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info);
CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info);
CK_RV getMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE* mechanisms, CK_ULONG* count);
CK_RV getMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE mechanism, CK_MECHANISM_INFO* info);
CK_RV waitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID* slot, void* reserved);

// session_entries.cpp
CK_RV initToken(CK_SLOT_ID slot, unsigned char* pin, CK_ULONG pinSize, unsigned char* label);
CK_RV initPin(CK_SESSION_HANDLE session, unsigned char* pin, CK_ULONG pinSize);
CK_RV setPin(CK_SESSION_HANDLE session, unsigned char* oldPin, CK_ULONG oldSize, unsigned char* newPin,
             CK_ULONG newSize);
CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* session);
CK_RV closeSession(CK_SESSION_HANDLE session);
CK_RV closeAllSessions(CK_SLOT_ID slot);
CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info);
CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG pinSize);
CK_RV logout(CK_SESSION_HANDLE session);
CK_RV seedRandom(CK_SESSION_HANDLE session, unsigned char* seed, CK_ULONG size);
CK_RV generateRandom(CK_SESSION_HANDLE session, unsigned char* bytes, CK_ULONG size);

// object_entries.cpp
CK_RV createObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count, CK_OBJECT_HANDLE* object);
CK_RV destroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object);
CK_RV getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count);
CK_RV setAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count);
CK_RV findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count);
CK_RV findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG most, CK_ULONG* count);
CK_RV findObjectsFinal(CK_SESSION_HANDLE session);

// key_entries.cpp
CK_RV generateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* publicKey, CK_ULONG publicCount,
                      CK_ATTRIBUTE* privateKey, CK_ULONG privateCount, CK_OBJECT_HANDLE* publicHandle,
                      CK_OBJECT_HANDLE* privateHandle);
CK_RV signInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
CK_RV sign(CK_SESSION_HANDLE session, unsigned char* bytes, CK_ULONG size, unsigned char* signature,
           CK_ULONG* signatureSize);

// Writes bytes that are not text: not UTF-8, with control characters and zeros, and without blanks at the end.
void fillWithGarbage(void* bytes, CK_ULONG size);

} // namespace panelkit::testing::entry
