// SPDX-License-Identifier: MIT
//
// How the model behind the entry points refuses a call: it throws the value that the call returns.
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
