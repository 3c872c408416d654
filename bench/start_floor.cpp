// SPDX-License-Identifier: MIT
//
// A program in C++ that does nothing: the floor for one that links the library.
#include <string>

int main(int argc, char** argv) { return std::string(argv[0]).size() + static_cast<unsigned>(argc) > 1 ? 0 : 1; }
