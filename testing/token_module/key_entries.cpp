// SPDX-License-Identifier: MIT
#include <testing/token_module/entry_points.h>

#include <testing/token_module/call.h>
#include <testing/token_module/failure.h>
#include <testing/token_module/random.h>

#include <algorithm>

namespace panelkit::testing::entry {

CK_RV generateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* publicKey, CK_ULONG publicCount,
                      CK_ATTRIBUTE* privateKey, CK_ULONG privateCount, CK_OBJECT_HANDLE* publicHandle,
                      CK_OBJECT_HANDLE* privateHandle) {
    return call("C_GenerateKeyPair", [&](Module& module, const Faults& faults) {
        demand(mechanism && publicHandle && privateHandle, CKR_ARGUMENTS_BAD);
        demand(mechanism->mechanism == CKM_RSA_PKCS_KEY_PAIR_GEN, CKR_MECHANISM_INVALID);
        KeyPair made =
            module.generateKeyPair(session, Attributes(publicKey, publicCount), Attributes(privateKey, privateCount));
        if (faults.handle) made.publicKey = made.privateKey = static_cast<CK_OBJECT_HANDLE>(*faults.handle);
        *publicHandle = made.publicKey;
        *privateHandle = made.privateKey;
    });
}

CK_RV signInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
    return call("C_SignInit", [&](Module& module, const Faults&) {
        demand(mechanism && mechanism->mechanism == CKM_RSA_PKCS, CKR_MECHANISM_INVALID);
        module.startSigning(session, key);
    });
}

// As in the standard: a question about the size, or too little room, does not end the operation.
CK_RV sign(CK_SESSION_HANDLE session, unsigned char* bytes, CK_ULONG, unsigned char* signature,
           CK_ULONG* signatureSize) {
    return call("C_Sign", [&](Module& module, const Faults& faults) {
        demand(bytes && signatureSize, CKR_ARGUMENTS_BAD);
        const CK_ULONG size = module.signatureSize(session), room = *signatureSize;
        *signatureSize = static_cast<CK_ULONG>(faults.count.value_or(size));
        if (!signature) return;
        demand(room >= size, CKR_BUFFER_TOO_SMALL);
        std::ranges::copy(randomBytes(size), signature);
        module.endSigning(session);
    });
}

} // namespace panelkit::testing::entry
