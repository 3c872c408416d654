// SPDX-License-Identifier: MIT
//
// The module's only export, and the function list that it returns.
#include <testing/token_module/call.h>
#include <testing/token_module/entry_points.h>
#include <testing/token_module/failure.h>
#include <testing/token_module/shared_files.h>

#include <panelkit_test_token_export.h>

#include <cstring>

namespace panelkit::testing {

namespace {

// Converts to the type of any entry.
template <class... Arguments>
CK_RV notSupported(Arguments...) {
    return CKR_FUNCTION_NOT_SUPPORTED;
}

// The standard demands this result of its two obsolete functions.
CK_RV notParallel(CK_SESSION_HANDLE) { return CKR_FUNCTION_NOT_PARALLEL; }

// clang-format off
constexpr CK_FUNCTION_LIST functions = {
    .version             = {2, 40},
    .C_Initialize        = entry::initialize,
    .C_Finalize          = entry::finalize,
    .C_GetInfo           = entry::getInfo,
    .C_GetFunctionList   = C_GetFunctionList,
    .C_GetSlotList       = entry::getSlotList,
    .C_GetSlotInfo       = entry::getSlotInfo,
    .C_GetTokenInfo      = entry::getTokenInfo,
    .C_GetMechanismList  = entry::getMechanismList,
    .C_GetMechanismInfo  = entry::getMechanismInfo,
    .C_InitToken         = entry::initToken,
    .C_InitPIN           = entry::initPin,
    .C_SetPIN            = entry::setPin,
    .C_OpenSession       = entry::openSession,
    .C_CloseSession      = entry::closeSession,
    .C_CloseAllSessions  = entry::closeAllSessions,
    .C_GetSessionInfo    = entry::getSessionInfo,
    .C_GetOperationState = notSupported,
    .C_SetOperationState = notSupported,
    .C_Login             = entry::login,
    .C_Logout            = entry::logout,
    .C_CreateObject      = entry::createObject,
    .C_CopyObject        = notSupported,
    .C_DestroyObject     = entry::destroyObject,
    .C_GetObjectSize     = notSupported,
    .C_GetAttributeValue = entry::getAttributeValue,
    .C_SetAttributeValue = entry::setAttributeValue,
    .C_FindObjectsInit   = entry::findObjectsInit,
    .C_FindObjects       = entry::findObjects,
    .C_FindObjectsFinal  = entry::findObjectsFinal,
    .C_EncryptInit       = notSupported, .C_Encrypt       = notSupported, .C_EncryptUpdate = notSupported, .C_EncryptFinal = notSupported,
    .C_DecryptInit       = notSupported, .C_Decrypt       = notSupported, .C_DecryptUpdate = notSupported, .C_DecryptFinal = notSupported,
    .C_DigestInit        = notSupported, .C_Digest        = notSupported, .C_DigestUpdate  = notSupported,
    .C_DigestKey         = notSupported, .C_DigestFinal   = notSupported,
    .C_SignInit          = entry::signInit, .C_Sign        = entry::sign, .C_SignUpdate    = notSupported, .C_SignFinal    = notSupported,
    .C_SignRecoverInit   = notSupported, .C_SignRecover   = notSupported,
    .C_VerifyInit        = notSupported, .C_Verify        = notSupported, .C_VerifyUpdate  = notSupported, .C_VerifyFinal  = notSupported,
    .C_VerifyRecoverInit = notSupported, .C_VerifyRecover = notSupported,
    .C_DigestEncryptUpdate = notSupported, .C_DecryptDigestUpdate = notSupported,
    .C_SignEncryptUpdate   = notSupported, .C_DecryptVerifyUpdate = notSupported,
    .C_GenerateKey       = notSupported, .C_GenerateKeyPair = entry::generateKeyPair,
    .C_WrapKey           = notSupported, .C_UnwrapKey     = notSupported, .C_DeriveKey     = notSupported,
    .C_SeedRandom        = entry::seedRandom,
    .C_GenerateRandom    = entry::generateRandom,
    .C_GetFunctionStatus = notParallel,
    .C_CancelFunction    = notParallel,
    .C_WaitForSlotEvent  = entry::waitForSlotEvent,
};
// clang-format on

// The list with a wrong version and without the entries that the folder names. Callers keep pointers to it, so it is
// made once; another load of the module makes another.
CK_FUNCTION_LIST spoilt(const std::filesystem::path& folder, const Faults& faults) {
    CK_FUNCTION_LIST list = functions;
    const std::uint16_t version = faults.version.value_or(2 << 8 | 40);
    list.version = {static_cast<unsigned char>(version >> 8), static_cast<unsigned char>(version & 0xFF)};
    const FolderLock lock(folder);
    for (const FunctionRow& row : steerableFunctions()) {
        const bool missing = !folder.empty() && readFaults(folder, row.name).null;
        if (missing) std::memset(reinterpret_cast<char*>(&list) + row.offset, 0, sizeof list.C_Initialize);
    }
    return list;
}

} // namespace

} // namespace panelkit::testing

extern "C" PANELKIT_TEST_TOKEN_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    using namespace panelkit::testing;
    return guarded("C_GetFunctionList", [&] {
        const std::filesystem::path folder = folderFromEnvironment();
        const Faults faults = recordAndReadFaults(folder, "C_GetFunctionList");
        suffer(faults, folder, "C_GetFunctionList");
        demand(list, CKR_ARGUMENTS_BAD);
        static CK_FUNCTION_LIST handedOut = spoilt(folder, faults);
        *list = faults.null ? nullptr : &handedOut;
    });
}
