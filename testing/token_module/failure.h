// SPDX-License-Identifier: MIT
//
// Thrown by the model to refuse a call: the value that the call returns.
#pragma once

#include <p11-kit/pkcs11.h>

namespace panelkit::testing {

struct Failure {
    CK_RV code;
};

[[noreturn]] inline void refuse(CK_RV code) { throw Failure{code}; }

inline void demand(bool holds, CK_RV otherwise) {
    if (!holds) refuse(otherwise);
}

} // namespace panelkit::testing
