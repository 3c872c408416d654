// SPDX-License-Identifier: MIT
#include <panelkit/cli/console_setup.h>

#include <platform/codepage/convi.h>
#include <platform/console/console.h>

#include <cstdio>

namespace panelkit {

const ConsoleSetup& ConsoleSetup::get() {
    ConsoleSetup& setup = instance();
    if (!setup.done_) setup.setUp();
    return setup;
}

ConsoleSetup& ConsoleSetup::instance() {
    static ConsoleSetup setup;
    return setup;
}

void ConsoleSetup::setUp() {
    done_ = true;
    platform::Console& console = platform::console();
    char localeName[20];
    std::snprintf(localeName, sizeof(localeName), ".%u", unsigned{console.outputPage()});
    console.adoptLocale(localeName);
    consolePage_ = convi::get_codepage_value(localeName + 1);
    // Front ends count on arguments in 1251, whatever page the console uses. On a system with another page
    // convert_argv_to_utf8 garbles characters that are not ASCII.
    argumentPage_ = 1251;
}

} // namespace panelkit
