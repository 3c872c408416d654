// SPDX-License-Identifier: MIT
//
// OpenSSL releases some buffers without wiping them. After a PKCS#12 was written, for example, its password stays in
// freed memory as UTF-16.
#pragma once

namespace panelkitd {

// From now on, all memory that OpenSSL releases is wiped. Must be called before OpenSSL is used. Returns false when
// that is too late, and nothing has changed.
bool wipeOpensslMemory();

} // namespace panelkitd
