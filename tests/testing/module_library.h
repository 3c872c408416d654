// SPDX-License-Identifier: MIT
//
// Loads the test token module like a consumer, here or in another process.
#pragma once

#include <platform/system/dynamic_library.h>

#include <p11-kit/pkcs11.h>

#include <string>
#include <vector>

class ModuleLibrary {
public:
    ModuleLibrary(); // throws std::runtime_error when it can't be loaded

    CK_C_GetFunctionList getFunctionList() const { return entry_; }

    static std::string path(); // beside the test program, in UTF-8

private:
    platform::DynamicLibrary library_;
    CK_C_GetFunctionList entry_;
};

struct ProgramRun {
    std::string output; // of both streams, without carriage returns
    bool succeeded = false;
};
// Runs a program of the system's and waits for its end.
ProgramRun runProgram(const std::vector<std::string>& arguments);
