// SPDX-License-Identifier: MIT
//
// PKCS#11's types and the two things that its C interface lacks: errors in words, and text that is UTF-8.
#pragma once

#include <vocabulary/refusals.h>

#include <p11-kit/pkcs11.h>

#include <string>
#include <string_view>

namespace panelkitd {

// Throws RefusedError, which names the function and what went wrong, unless `result` is CKR_OK.
void check(CK_RV result, const char* function);

// "CKR_PIN_INCORRECT", or the number.
std::string resultName(CK_RV result);

// The reason that a result is reported as.
vocabulary::Refused refusalOf(CK_RV result);

// The bytes of a text as PKCS#11 takes them, which knows no const.
CK_UTF8CHAR* mutableBytes(const std::string& text);

// The text with U+FFFD for each part that is no UTF-8.
std::string utf8Only(std::string_view text);

// The text of a fixed-size field: without the blanks or zeros that fill it up, and UTF-8 whatever the module wrote.
std::string fieldText(const CK_UTF8CHAR* field, std::size_t size);

template <std::size_t size>
std::string fieldText(const CK_UTF8CHAR (&field)[size]) {
    return fieldText(field, size);
}

} // namespace panelkitd
