// SPDX-License-Identifier: MIT
//
// The tries that a token has left for its PINs: the guard of the last one, and what a person is told of a refused PIN.
#pragma once

#include <service/base/refused.h>
#include <service/modules/host_protocol.h>
#include <service/modules/pkcs11_library.h>

#include <optional>

namespace panelkitd {

// Throws RefusedError when a wrong PIN would lock the token and `mayBeFinal` does not allow for that, or when the PIN
// is locked already.
void guardFinalTry(CK_FLAGS flags, PinOf whose, bool mayBeFinal);

// What is said of a refused PIN, from the refusal and the token's flags after it. Nothing when the refusal has nothing
// to do with a PIN. Its number is that of the refusal, or pinLocked when this wrong PIN has locked the token.
std::optional<bridge::Remark> pinRemark(const RefusedError& refused, CK_FLAGS flags, PinOf whose);

// Runs what tries a PIN. When that is refused, the refusal says what is known of the tries that remain.
template <class Work>
void tryPin(const Pkcs11Library& library, CK_SLOT_ID slot, PinOf whose, Work&& work) {
    try {
        work();
    } catch (const RefusedError& refused) {
        const auto told = pinRemark(refused, library.tokenInfo(slot).flags, whose);
        if (!told) throw;
        throw RefusedError({*told});
    }
}

} // namespace panelkitd
