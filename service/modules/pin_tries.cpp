// SPDX-License-Identifier: MIT
#include <service/modules/pin_tries.h>

namespace panelkitd {

using vocabulary::Refused;

namespace {

struct PinFlags {
    CK_FLAGS low, finalTry, locked;
};

constexpr PinFlags flagsOf(PinOf whose) {
    if (whose == PinOf::user) return {CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_LOCKED};
    return {CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_LOCKED};
}

bridge::Remark lockedRemark() {
    return remark(Refused::pinLocked, "The PIN is locked: it was entered wrong too often.");
}

bridge::Remark finalTryRemark() {
    return remark(Refused::finalTry, "One try remains: one more wrong PIN locks the token.");
}

// Returns the remark about a wrong PIN. It says how many tries remain, as far as the token's flags tell.
bridge::Remark wrongPinRemark(CK_FLAGS flags, const PinFlags& of) {
    constexpr Refused code = Refused::wrongPin;
    if (flags & of.locked) {
        return remark(Refused::pinLocked, "The PIN is wrong. The PIN is locked: it was entered wrong too often.");
    }
    if (flags & of.finalTry) {
        return remark(code, "The PIN is wrong. One try remains: one more wrong PIN locks the token.");
    }
    if (flags & of.low) {
        return remark(code,
                      "The PIN is wrong. The token counts the wrong PINs; it does not say how many tries remain.");
    }
    return remark(code, "The PIN is wrong. The token does not say how many tries remain.");
}

} // namespace

void guardFinalTry(CK_FLAGS flags, PinOf whose, bool mayBeFinal) {
    const PinFlags of = flagsOf(whose);
    if (flags & of.locked) throw RefusedError({lockedRemark()});
    if ((flags & of.finalTry) && !mayBeFinal) throw RefusedError({finalTryRemark()});
}

std::optional<bridge::Remark> pinRemark(const RefusedError& refused, CK_FLAGS flags, PinOf whose) {
    switch (refused.reason) {
    case Refused::wrongPin: return wrongPinRemark(flags, flagsOf(whose));
    case Refused::pinLocked: return lockedRemark();
    case Refused::finalTry: return finalTryRemark();
    default: return std::nullopt;
    }
}

} // namespace panelkitd
