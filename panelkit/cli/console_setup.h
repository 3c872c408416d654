// SPDX-License-Identifier: MIT
//
// The code pages of the console functions. They are determined at the first call of cli_printf, cli_sprintf or
// convert_argv_to_utf8 and kept until the process ends: a later change of the console's page has no effect. Not locked:
// the console functions are for the one thread of a console program.
#pragma once

#include <platform/export.h>

#include <cstdint>

namespace panelkit {

class PANELKIT_EXPORT ConsoleSetup {
public:
    // Returns the setup; the first call makes it.
    static const ConsoleSetup& get();

    // The console's output page; 0 when there is no console or its page is not known. Text goes out unchanged then.
    std::uint32_t consolePage() const { return consolePage_; }

    // The page of command-line arguments.
    std::uint32_t argumentPage() const { return argumentPage_; }

private:
    friend struct ConsoleSetupProbe; // for tests

    static ConsoleSetup& instance();
    void setUp();

    bool done_ = false;
    std::uint32_t consolePage_ = 0;
    std::uint32_t argumentPage_ = 0;
};

} // namespace panelkit
