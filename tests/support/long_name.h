// SPDX-License-Identifier: MIT
//
// A name of folders in folders with more than 260 characters, which are not all in one code page.
#pragma once

#include <string>

inline std::string longName() {
    std::string name = "Анна";
    for (int i = 0; i < 8; ++i) name += "/папка 東京の長い長い名前 Ζωή " + std::to_string(i);
    return name;
}
