// SPDX-License-Identifier: MIT
#include "module_library.h"

#include <platform/system/child_process.h>
#include <platform/system/files.h>
#include <platform/text/utf8_path.h>

#include <algorithm>
#include <stdexcept>

namespace {

std::string beside(const char* name) {
    return platform::fromPath(platform::toPath(platform::executablePath()).parent_path() / name);
}

} // namespace

ModuleLibrary::ModuleLibrary()
    : library_(path()), entry_(library_.function<CK_C_GetFunctionList>("C_GetFunctionList")) {
    if (!entry_) throw std::runtime_error("no C_GetFunctionList");
}

std::string ModuleLibrary::path() { return beside(PANELKIT_TEST_TOKEN_FILE); }

ProgramRun runProgram(const std::vector<std::string>& arguments) {
    platform::ChildOptions options;
    options.arguments = arguments;
    const platform::ChildResult result = platform::runChild(options, std::chrono::seconds(60));
    ProgramRun run{result.output + result.error, result.ending == platform::Ending::exited && result.status == 0};
    run.output.erase(std::remove(run.output.begin(), run.output.end(), '\r'), run.output.end());
    return run;
}
