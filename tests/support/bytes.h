// SPDX-License-Identifier: MIT
//
// Golden bytes: the wire format, written by hand.
#pragma once

#include <panelkit/bridge/command_stream.h>

#include <string>
#include <string_view>

// Returns the bytes of pairs of hexadecimal digits; blanks and line ends between them are ignored. A part in single
// quotes is taken literally: hex("05 00 00 00 'Hello'").
std::string hex(std::string_view text);

// Bytes as pairs of digits, for messages.
std::string toHex(std::string_view bytes);

// The bytes of fields written one after the other.
template <class... Fields>
std::string encoded(const Fields&... fields) {
    std::string bytes;
    CommandStreamOut(bytes).append(fields...);
    return bytes;
}

// Whether reading a T from `bytes` throws the text "CommandStreamError", and throws it again when the same reader
// goes on.
template <class T>
bool readingThrows(std::string_view bytes, T into = {}) {
    CommandStreamIn in(bytes.data(), bytes.size());
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            in >> into;
            return false;
        } catch (const char* text) {
            if (std::string_view(text) != "CommandStreamError") return false;
        }
    }
    return true;
}

// Whether an operation throws the text "CommandStreamError".
template <class Operation>
bool throwsStreamError(const Operation& operation) {
    try {
        operation();
    } catch (const char* text) {
        return std::string_view(text) == "CommandStreamError";
    }
    return false;
}

// Every proper prefix of a well-formed record must be refused. Returns the first length that is not, or npos.
template <class T>
std::size_t firstPrefixThatReads(const std::string& whole) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // A copy of exactly that size, so that a sanitizer sees any access past its end.
        const std::string prefix = whole.substr(0, length);
        const std::vector<char> exact(prefix.begin(), prefix.end());
        if (!readingThrows<T>({exact.data(), exact.size()})) return length;
    }
    return std::string::npos;
}
