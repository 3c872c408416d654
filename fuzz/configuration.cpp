// SPDX-License-Identifier: MIT
//
// Any bytes as the body of a section (the first byte chooses it) and as the text of the configuration's file: refused,
// or stored and read back unchanged.
#include <service/config/configuration_text.h>

#include <panelkit/lparams/sections/sections.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace panelkitd;

void expectKept(const Bodies& bodies) {
    const ReadConfiguration read = readConfiguration(printConfiguration(bodies));
    if (!read.bodies || !(*read.bodies == bodies)) std::abort();
}

void tryAsBody(std::uint8_t which, std::string_view body) {
    const auto sections = panelkit::sections();
    const auto* section = findSection(sections[which % sections.size()].name);
    Bodies bodies;
    try {
        bodies.emplace(section->name, panelkit::SectionBody(*section, body));
    } catch (const panelkit::BodyError&) {
        return;
    }
    expectKept(bodies);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    if (size > 0) tryAsBody(data[0], std::string_view(bytes).substr(1));
    const ReadConfiguration read = readConfiguration(bytes);
    if (read.bodies.has_value() != read.problems.empty()) std::abort();
    if (read.bodies) expectKept(*read.bodies);
    return 0;
}
