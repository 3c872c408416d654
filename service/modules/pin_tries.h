// SPDX-License-Identifier: MIT
//
// How many tries a token has left for its PINs: a check before the last try, and the text about a refused PIN. Any
// thread may call these functions.
#pragma once

#include <service/base/refused.h>
#include <service/modules/host_protocol.h>
#include <service/modules/pkcs11_library.h>

#include <optional>

namespace panelkitd {

// Throws RefusedError when a wrong PIN would lock the token and `mayBeFinal` is false, or when the PIN is locked
// already. `flags` are the token's, `whose` says which of its PINs will be tried.
void guardFinalTry(CK_FLAGS flags, PinOf whose, bool mayBeFinal);

// Returns the remark about a refused PIN, made from the refusal and the token's flags after it. Its code is the reason
// of the refusal, or pinLocked when this wrong PIN has locked the token. Returns nullopt when the refusal is not about
// a PIN.
std::optional<bridge::Remark> pinRemark(const RefusedError& refused, CK_FLAGS flags, PinOf whose);

// Calls `work`, which tries a PIN. When the PIN is refused, throws a RefusedError whose text also says what is known
// about the remaining tries. Other exceptions of `work` are passed on.
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
