// SPDX-License-Identifier: MIT
//
// PINs: setting them, the guard of the final try, and what a person is told when one is refused.
#pragma once

#include <service/base/refused.h>
#include <service/tokens/provider.h>

#include <panelkit/tokens/token_records.h>

#include <optional>
#include <string>

namespace panelkitd {

enum class PinOf : unsigned char { user, securityOfficer };

// Throws RefusedError when a wrong PIN would lock the token and `mayBeFinal` does not allow for that, or when the PIN
// is locked already.
void guardFinalTry(CK_FLAGS flags, PinOf whose, bool mayBeFinal);

// What is said of a refused PIN, from the refusal and the token's flags after it. Nothing when the refusal has nothing
// to do with a PIN. Its number is that of the refusal, or pinLocked when this wrong PIN has locked the token.
std::optional<bridge::Remark> pinRemark(const RefusedError& refused, CK_FLAGS flags, PinOf whose);

// The same for the reply to a log-in.
PinStateMessage messageOf(const bridge::Remark& pin);

// Erases the token and gives it a label, an SO PIN and a user PIN.
void initializeToken(HeldToken& token, const std::string& label, const std::string& soPin, const std::string& userPin);

void setPin(HeldToken& token, PinOf whose, const std::string& oldPin, const std::string& newPin);

} // namespace panelkitd
