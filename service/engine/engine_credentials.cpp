// SPDX-License-Identifier: MIT
#include <service/engine/engine_credentials.h>

namespace panelkitd {

using vocabulary::Refused;

bridge::Remark noCertificate(const std::string& subject, bool complete) {
    constexpr Refused code = Refused::credentials;
    if (subject.empty()) {
        return complete ? remark(code, "the personal certificate is on no token")
                        : remark(code, "the personal certificate is on no token that can be read");
    }
    return complete ? remark(code, "the personal certificate \"%s\" is on no token", subject)
                    : remark(code, "the personal certificate \"%s\" is on no token that can be read", subject);
}

bridge::Remark noAnchor(bool complete) {
    constexpr Refused code = Refused::credentials;
    return complete
               ? remark(code, "no token has a trusted certificate that a gateway could be checked with")
               : remark(code, "no token that can be read has a trusted certificate that a gateway could be checked "
                              "with");
}

} // namespace panelkitd
