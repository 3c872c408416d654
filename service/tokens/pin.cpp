// SPDX-License-Identifier: MIT
#include <service/tokens/pin.h>

#include <service/tokens/cryptoki.h>

#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using vocabulary::Refused;
namespace title = vocabulary::pinTitle;

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

// With what is known of the tries that remain.
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

constexpr std::size_t labelSize = 32; // bytes of UTF-8, as PKCS#11 has it

std::array<CK_UTF8CHAR, labelSize> labelField(const std::string& label) {
    if (label.empty() || label.size() > labelSize) {
        throw RefusedError(Refused::badInput, "a token's label has 1 to %d bytes; this one has %d", labelSize,
                           label.size());
    }
    std::array<CK_UTF8CHAR, labelSize> field{};
    field.fill(' ');
    std::copy(label.begin(), label.end(), field.begin());
    return field;
}

CK_ULONG length(const std::string& text) { return static_cast<CK_ULONG>(text.size()); }

// The log-in of the security officer, for the time of one operation.
class SecurityOfficer {
public:
    SecurityOfficer(const HeldToken& token, const TokenSession& session, const std::string& pin)
        : token_(token), session_(session) {
        check(token_.library()->C_Login(session_.handle(), CKU_SO, mutableBytes(pin), length(pin)), "C_Login");
    }
    ~SecurityOfficer() { token_.library()->C_Logout(session_.handle()); }
    SecurityOfficer(const SecurityOfficer&) = delete;
    SecurityOfficer& operator=(const SecurityOfficer&) = delete;

private:
    const HeldToken& token_;
    const TokenSession& session_;
};

void setFirstUserPin(const HeldToken& token, const std::string& soPin, const std::string& userPin) {
    const auto session = token.openSession(TokenSession::Mode::readWrite);
    const SecurityOfficer officer(token, *session, soPin);
    check(token.library()->C_InitPIN(session->handle(), mutableBytes(userPin), length(userPin)), "C_InitPIN");
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

PinStateMessage messageOf(const bridge::Remark& pin) {
    const char* head = title::wrongPin;
    if (pin.code == static_cast<std::uint32_t>(Refused::pinLocked)) head = title::locked;
    if (pin.code == static_cast<std::uint32_t>(Refused::finalTry)) head = title::finalTry;
    return {head, Loc::fill(pin.phrase)};
}

void initializeToken(HeldToken& token, const std::string& label, const std::string& soPin, const std::string& userPin) {
    std::array<CK_UTF8CHAR, labelSize> field = labelField(label);
    token.endSessions();
    check(token.library()->C_InitToken(token.slot(), mutableBytes(soPin), length(soPin), field.data()), "C_InitToken");
    try {
        setFirstUserPin(token, soPin, userPin);
    } catch (const RefusedError& refused) {
        throw RefusedError(refused.reason, "the token was erased and has its new label and SO PIN, but no user PIN")
            .because(refused);
    }
}

void setPin(HeldToken& token, PinOf whose, const std::string& oldPin, const std::string& newPin) {
    const auto session = token.openSession(TokenSession::Mode::readWrite);
    const auto set = [&] {
        check(token.library()->C_SetPIN(session->handle(), mutableBytes(oldPin), length(oldPin), mutableBytes(newPin),
                                        length(newPin)),
              "C_SetPIN");
    };
    if (whose == PinOf::user) return set(); // a session that nobody is logged in to changes the user's
    const SecurityOfficer officer(token, *session, oldPin);
    set();
}

} // namespace panelkitd
