// SPDX-License-Identifier: MIT
//
// HostedModule, continued: its commands on log-ins and PINs, initialising, and the random-number generator.
#include <service/modules/hosted_module.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>
#include <service/modules/pin_tries.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr std::size_t labelSize = 32; // bytes of UTF-8, as PKCS#11 has it

std::array<CK_UTF8CHAR, labelSize> labelField(const std::string& label) {
    if (label.empty() || label.size() > labelSize) {
        throw RefusedError(Refused::badInput, "a token's label has 1 to 32 bytes; this one has %d", label.size());
    }
    std::array<CK_UTF8CHAR, labelSize> field{};
    field.fill(' ');
    std::copy(label.begin(), label.end(), field.begin());
    return field;
}

CK_ULONG length(std::string_view text) { return static_cast<CK_ULONG>(text.size()); }

// Throws RefusedError when a new PIN is shorter or longer than the token allows, if the token reports its limits.
// Called before anything is erased.
void requireFit(const platform::Secret& pin, PinOf whose, const HostToken& token) {
    const std::size_t size = pin.size();
    const bool tooLong = token.longestPin > 0 && size > token.longestPin;
    if (size >= token.shortestPin && !tooLong) return;
    if (whose == PinOf::user) {
        throw RefusedError(Refused::unfitPin, "the token takes PINs of %d to %d bytes; the new PIN has %d",
                           token.shortestPin, token.longestPin, size);
    }
    throw RefusedError(Refused::unfitPin, "the token takes PINs of %d to %d bytes; the new SO PIN has %d",
                       token.shortestPin, token.longestPin, size);
}

// Logs in as the security officer for one operation.
class SecurityOfficer {
public:
    SecurityOfficer(const Pkcs11Library& library, CK_SESSION_HANDLE session, const platform::Secret& pin)
        : library_(library), session_(session) {
        check(library_->C_Login(session_, CKU_SO, mutableBytes(pin), length(pin)), "C_Login");
    }
    ~SecurityOfficer() { library_->C_Logout(session_); }
    SecurityOfficer(const SecurityOfficer&) = delete;
    SecurityOfficer& operator=(const SecurityOfficer&) = delete;

private:
    const Pkcs11Library& library_;
    const CK_SESSION_HANDLE session_;
};

} // namespace

void HostedModule::login(const HostTokenName& name, const HostLogin& request) {
    Token token = locate(name); // its flags as they are now
    token.session = &sessionWith(token.slot, token.info);
    guardFinalTry(token.info.flags, PinOf::user, request.mayBeFinal);
    tryPin(library_, token.slot, PinOf::user, [&] {
        check(library_->C_Login(token.session->handle, CKU_USER, mutableBytes(request.pin), length(request.pin)),
              "C_Login");
    });
}

void HostedModule::logout(const HostTokenName& name) {
    const Token token = open(name);
    if (!token.session->loggedIn) throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    check(library_->C_Logout(token.session->handle), "C_Logout");
}

// Everything that can be checked is checked before the token is erased.
HostToken HostedModule::initialize(const HostTokenName& name, const HostInitialization& request) {
    const Token token = locate(name);
    if ((token.info.flags & CKF_TOKEN_INITIALIZED) && !request.mayErase) {
        throw RefusedError(Refused::wouldErase, "the token is initialised; what it holds would be erased");
    }
    const HostToken before = describe(token.slot, token.info);
    std::array<CK_UTF8CHAR, labelSize> label = labelField(request.label);
    requireFit(request.soPin, PinOf::securityOfficer, before);
    requireFit(request.userPin, PinOf::user, before);
    sessions_.erase(token.slot);
    check(library_->C_CloseAllSessions(token.slot), "C_CloseAllSessions");
    tryPin(library_, token.slot, PinOf::securityOfficer, [&] {
        check(library_->C_InitToken(token.slot, mutableBytes(request.soPin), length(request.soPin), label.data()),
              "C_InitToken");
    });
    try {
        const CK_SESSION_HANDLE session = sessionWith(token.slot, library_.tokenInfo(token.slot)).handle;
        const SecurityOfficer officer(library_, session, request.soPin);
        check(library_->C_InitPIN(session, mutableBytes(request.userPin), length(request.userPin)), "C_InitPIN");
    } catch (const RefusedError& refused) {
        throw RefusedError(refused.reason, "the token was erased and has its new label and SO PIN, but no user PIN")
            .because(refused);
    }
    return describe(token.slot, library_.tokenInfo(token.slot));
}

void HostedModule::changePin(const HostTokenName& name, const HostPinChange& request) {
    Token token = locate(name); // its flags as they are now
    token.session = &sessionWith(token.slot, token.info);
    guardFinalTry(token.info.flags, request.whose, request.mayBeFinal);
    const auto set = [&] {
        check(library_->C_SetPIN(token.session->handle, mutableBytes(request.oldPin), length(request.oldPin),
                                 mutableBytes(request.newPin), length(request.newPin)),
              "C_SetPIN");
    };
    tryPin(library_, token.slot, request.whose, [&] {
        if (request.whose == PinOf::user) return set(); // a session that nobody is logged in to changes the user's
        const SecurityOfficer officer(library_, token.session->handle, request.oldPin);
        set();
    });
}

void HostedModule::seed(const HostTokenName& name, const std::string& bytes) {
    const Token token = open(name);
    check(library_->C_SeedRandom(token.session->handle, mutableBytes(bytes), length(bytes)), "C_SeedRandom");
}

} // namespace panelkitd
