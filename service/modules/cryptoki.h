// SPDX-License-Identifier: MIT
//
// The types of PKCS#11, and two things that its C interface lacks: errors as readable text, and texts in UTF-8. Any
// thread may call these functions.
#pragma once

#include <vocabulary/refusals.h>

#include <p11-kit/pkcs11.h>

#include <string>
#include <string_view>

namespace panelkitd {

// Throws RefusedError unless `result` is CKR_OK. The error names the function and says what went wrong.
void check(CK_RV result, const char* function);

// Returns the name of a result, for example "CKR_PIN_INCORRECT", or its number when it has no known name.
std::string resultName(CK_RV result);

// Returns the reason with which a result is reported to front ends.
vocabulary::Refused refusalOf(CK_RV result);

// Returns the bytes of a text for a PKCS#11 function. Its parameters are not const, although the functions only read
// them.
CK_UTF8CHAR* mutableBytes(std::string_view text);

// Returns the text with U+FFFD in place of each part that is not UTF-8.
std::string utf8Only(std::string_view text);

// Returns the text of a field of fixed size, without the blanks or zeros at its end. Bytes that are not UTF-8 are
// replaced by U+FFFD.
std::string fieldText(const CK_UTF8CHAR* field, std::size_t size);

template <std::size_t size>
std::string fieldText(const CK_UTF8CHAR (&field)[size]) {
    return fieldText(field, size);
}

} // namespace panelkitd
