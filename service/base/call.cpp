// SPDX-License-Identifier: MIT
#include <service/base/call.h>

#include <platform/text/escape.h>
#include <vocabulary/tokens.h>

namespace panelkitd {

PKCS11::TokenInfo readToken(Call& call) {
    PKCS11::TokenInfo token;
    call.in >> token;
    call.subject = "token " + platform::quotedName(token.*vocabulary::token::label) + " (" +
                   platform::quotedName(token.*vocabulary::token::serial) + ")";
    return token;
}

} // namespace panelkitd
