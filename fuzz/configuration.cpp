// SPDX-License-Identifier: MIT
//
// Any bytes as the body of a section (the first byte says which) and as the text of the configuration's file: refused,
// or kept and read back the same.
#include <service/config/configuration_text.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace panelkitd;

const Shapes& shapes() {
    static const Shapes all;
    return all;
}

void expectKept(const Bodies& bodies) {
    const ReadConfiguration read = readConfiguration(shapes(), printConfiguration(shapes(), bodies));
    if (!read.bodies || !(*read.bodies == bodies)) std::abort();
}

void tryAsBody(std::uint8_t which, std::string_view body) {
    const auto sections = panelkit::sections();
    const char* name = sections[which % sections.size()].name;
    try {
        shapes().cut(*shapes().find(name), body);
    } catch (const BodyError&) {
        return;
    }
    Bodies bodies;
    bodies.set(name, body);
    expectKept(bodies);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    if (size > 0) tryAsBody(data[0], std::string_view(bytes).substr(1));
    const ReadConfiguration read = readConfiguration(shapes(), bytes);
    if (read.bodies.has_value() != read.problems.empty()) std::abort();
    if (read.bodies) expectKept(*read.bodies);
    return 0;
}
