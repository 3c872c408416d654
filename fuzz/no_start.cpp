// SPDX-License-Identifier: MIT
//
// For targets that have nothing to do before their first input.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) { return 0; }
