// SPDX-License-Identifier: MIT
#include <service/modules/cryptoki.h>

#include <service/base/refused.h>

#include <platform/text/ascii.h>
#include <platform/text/utf8_character.h>

#include <algorithm>
#include <array>

namespace panelkitd {

namespace {

using Loc::N_;
using vocabulary::Refused;

struct ResultRow {
    CK_RV result;
    const char* name;
    Refused reason;
    Loc::MarkedWording<'s', 's'> text; // for the names of the function and of the result
};

// clang-format off
constexpr std::array results = {
    ResultRow{CKR_PIN_INCORRECT,                "CKR_PIN_INCORRECT",                Refused::wrongPin,       N_("the PIN is wrong (%s: %s)")},
    ResultRow{CKR_PIN_LOCKED,                   "CKR_PIN_LOCKED",                   Refused::pinLocked,      N_("the PIN is locked (%s: %s)")},
    ResultRow{CKR_PIN_INVALID,                  "CKR_PIN_INVALID",                  Refused::unfitPin,       N_("the token does not take this PIN (%s: %s)")},
    ResultRow{CKR_PIN_LEN_RANGE,                "CKR_PIN_LEN_RANGE",                Refused::unfitPin,       N_("the PIN is too short or too long for the token (%s: %s)")},
    ResultRow{CKR_PIN_EXPIRED,                  "CKR_PIN_EXPIRED",                  Refused::unfitPin,       N_("the PIN has expired and must be changed (%s: %s)")},
    ResultRow{CKR_PIN_TOO_WEAK,                 "CKR_PIN_TOO_WEAK",                 Refused::unfitPin,       N_("the PIN is too weak for the token (%s: %s)")},
    ResultRow{CKR_USER_PIN_NOT_INITIALIZED,     "CKR_USER_PIN_NOT_INITIALIZED",     Refused::notInitialised, N_("the token has no user PIN yet (%s: %s)")},
    ResultRow{CKR_USER_NOT_LOGGED_IN,           "CKR_USER_NOT_LOGGED_IN",           Refused::notLoggedIn,    N_("not logged in to the token (%s: %s)")},
    ResultRow{CKR_USER_ANOTHER_ALREADY_LOGGED_IN, "CKR_USER_ANOTHER_ALREADY_LOGGED_IN", Refused::otherUserIsIn, N_("another user is logged in to the token; log out first (%s: %s)")},
    ResultRow{CKR_USER_TOO_MANY_TYPES,          "CKR_USER_TOO_MANY_TYPES",          Refused::otherUserIsIn,  N_("another user is logged in to the token; log out first (%s: %s)")},
    ResultRow{CKR_SESSION_EXISTS,               "CKR_SESSION_EXISTS",               Refused::deviceError,    N_("another program uses the token (%s: %s)")},
    ResultRow{CKR_SESSION_READ_ONLY_EXISTS,     "CKR_SESSION_READ_ONLY_EXISTS",     Refused::otherUserIsIn,  N_("another program reads the token; try again when it has ended (%s: %s)")},
    ResultRow{CKR_SESSION_HANDLE_INVALID,       "CKR_SESSION_HANDLE_INVALID",       Refused::noSuchToken,    N_("the token was removed (%s: %s)")},
    ResultRow{CKR_SESSION_CLOSED,               "CKR_SESSION_CLOSED",               Refused::noSuchToken,    N_("the token was removed (%s: %s)")},
    ResultRow{CKR_TOKEN_NOT_PRESENT,            "CKR_TOKEN_NOT_PRESENT",            Refused::noSuchToken,    N_("the token is not there (%s: %s)")},
    ResultRow{CKR_DEVICE_REMOVED,               "CKR_DEVICE_REMOVED",               Refused::noSuchToken,    N_("the token was removed (%s: %s)")},
    ResultRow{CKR_SLOT_ID_INVALID,              "CKR_SLOT_ID_INVALID",              Refused::noSuchToken,    N_("the slot is gone (%s: %s)")},
    ResultRow{CKR_TOKEN_NOT_RECOGNIZED,         "CKR_TOKEN_NOT_RECOGNIZED",         Refused::notInitialised, N_("the token is not recognised; it may have to be initialised (%s: %s)")},
    ResultRow{CKR_TOKEN_WRITE_PROTECTED,        "CKR_TOKEN_WRITE_PROTECTED",        Refused::writeProtected, N_("the token is write-protected (%s: %s)")},
    ResultRow{CKR_SESSION_READ_ONLY,            "CKR_SESSION_READ_ONLY",            Refused::writeProtected, N_("the token is write-protected (%s: %s)")},
    ResultRow{CKR_ATTRIBUTE_READ_ONLY,          "CKR_ATTRIBUTE_READ_ONLY",          Refused::writeProtected, N_("the object can't be changed (%s: %s)")},
    ResultRow{CKR_ACTION_PROHIBITED,            "CKR_ACTION_PROHIBITED",            Refused::writeProtected, N_("the token does not allow that for this object (%s: %s)")},
    ResultRow{CKR_DEVICE_MEMORY,                "CKR_DEVICE_MEMORY",                Refused::tokenFull,      N_("the token is full (%s: %s)")},
    ResultRow{CKR_OBJECT_HANDLE_INVALID,        "CKR_OBJECT_HANDLE_INVALID",        Refused::noSuchObject,   N_("the object is gone (%s: %s)")},
    ResultRow{CKR_FUNCTION_NOT_SUPPORTED,       "CKR_FUNCTION_NOT_SUPPORTED",       Refused::notSupported,   N_("the token can't do that (%s: %s)")},
    ResultRow{CKR_RANDOM_SEED_NOT_SUPPORTED,    "CKR_RANDOM_SEED_NOT_SUPPORTED",    Refused::notSupported,   N_("the token's random-number generator takes no seed (%s: %s)")},
    ResultRow{CKR_RANDOM_NO_RNG,                "CKR_RANDOM_NO_RNG",                Refused::notSupported,   N_("the token has no random-number generator (%s: %s)")},
    ResultRow{CKR_MECHANISM_INVALID,            "CKR_MECHANISM_INVALID",            Refused::notSupported,   N_("the token does not know this mechanism (%s: %s)")},
    ResultRow{CKR_KEY_SIZE_RANGE,               "CKR_KEY_SIZE_RANGE",               Refused::notSupported,   N_("the token does not support keys of this size (%s: %s)")},
    ResultRow{CKR_KEY_TYPE_INCONSISTENT,        "CKR_KEY_TYPE_INCONSISTENT",        Refused::notSupported,   N_("the key is of another type (%s: %s)")},
    ResultRow{CKR_CURVE_NOT_SUPPORTED,          "CKR_CURVE_NOT_SUPPORTED",          Refused::notSupported,   N_("the token does not support this curve (%s: %s)")},
    ResultRow{CKR_ATTRIBUTE_VALUE_INVALID,      "CKR_ATTRIBUTE_VALUE_INVALID",      Refused::badInput,       N_("the token does not take this object (%s: %s)")},
    ResultRow{CKR_ATTRIBUTE_TYPE_INVALID,       "CKR_ATTRIBUTE_TYPE_INVALID",       Refused::badInput,       N_("the token does not take this object (%s: %s)")},
    ResultRow{CKR_TEMPLATE_INCOMPLETE,          "CKR_TEMPLATE_INCOMPLETE",          Refused::badInput,       N_("the token wants more for this object (%s: %s)")},
    ResultRow{CKR_TEMPLATE_INCONSISTENT,        "CKR_TEMPLATE_INCONSISTENT",        Refused::badInput,       N_("the token does not take this object (%s: %s)")},
    ResultRow{CKR_ARGUMENTS_BAD,                "CKR_ARGUMENTS_BAD",                Refused::badInput,       N_("the token does not take these arguments (%s: %s)")},
    ResultRow{CKR_DATA_LEN_RANGE,               "CKR_DATA_LEN_RANGE",               Refused::badInput,       N_("the data is too short or too long (%s: %s)")},
    ResultRow{CKR_GENERAL_ERROR,                "CKR_GENERAL_ERROR",                Refused::deviceError,    N_("the token's module reports an error (%s: %s)")},
    ResultRow{CKR_FUNCTION_FAILED,              "CKR_FUNCTION_FAILED",              Refused::deviceError,    N_("the token's module reports an error (%s: %s)")},
    ResultRow{CKR_DEVICE_ERROR,                 "CKR_DEVICE_ERROR",                 Refused::deviceError,    N_("the token reports an error (%s: %s)")},
    ResultRow{CKR_HOST_MEMORY,                  "CKR_HOST_MEMORY",                  Refused::deviceError,    N_("the token's module is out of memory (%s: %s)")},
};
// clang-format on

constexpr Loc::MarkedWording<'s', 's'> unknownResult = N_("the token's module reports an error (%s: %s)");

const ResultRow* find(CK_RV result) {
    const auto row =
        std::find_if(results.begin(), results.end(), [&](const ResultRow& r) { return r.result == result; });
    return row == results.end() ? nullptr : &*row;
}

} // namespace

std::string resultName(CK_RV result) {
    const ResultRow* row = find(result);
    return row ? row->name : "CKR 0x" + platform::hexNumber(result & 0xFFFFFFFF, 8);
}

vocabulary::Refused refusalOf(CK_RV result) {
    const ResultRow* row = find(result);
    return row ? row->reason : Refused::deviceError;
}

void check(CK_RV result, const char* function) {
    if (result == CKR_OK) return;
    const ResultRow* row = find(result);
    throw RefusedError(refusalOf(result), row ? row->text : unknownResult, function, resultName(result));
}

CK_UTF8CHAR* mutableBytes(std::string_view text) {
    return reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(text.data())); // NOLINT(*-const-cast): see the header
}

std::string utf8Only(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const platform::Utf8Character next = platform::firstCharacter(text);
        result += next.good ? text.substr(0, next.bytes) : "\xEF\xBF\xBD"; // U+FFFD for what is not UTF-8
        text.remove_prefix(next.bytes);
    }
    return result;
}

std::string fieldText(const CK_UTF8CHAR* field, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(field), size);
    text = text.substr(0, text.find('\0'));
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return utf8Only(text);
}

} // namespace panelkitd
