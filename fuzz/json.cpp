// SPDX-License-Identifier: MIT
//
// Any text as JSON: refused with a place within it, or read into a tree. Printing the tree and reading that returns the
// same tree. What is refused as malformed is not JSON for a parser without our limits either.
#include <platform/json/json.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace platform::json;

namespace {

std::size_t depthOf(const Value& value) {
    std::size_t depth = 0;
    for (const Value& item : value.items) depth = std::max(depth, depthOf(item));
    for (const Member& member : value.members) depth = std::max(depth, depthOf(member.value));
    return depth + (value.kind == Kind::list || value.kind == Kind::object ? 1 : 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    std::string printed;
    try {
        const Document file(text);
        if (depthOf(file.root()) > deepest || file.root().line > lines) std::abort();
        printed = print(file.root());
    } catch (const Error& error) {
        if (error.line < 1 || error.line > lines || error.column < 1) std::abort();
        if (error.why == Error::Why::malformed && nlohmann::json::accept(text)) std::abort();
        return 0;
    }
    const Document again(printed); // throws out of the target when it is not JSON
    if (print(again.root()) != printed) std::abort();
    return 0;
}
