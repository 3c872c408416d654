// SPDX-License-Identifier: MIT
#include <service/config/configuration_file.h>

#include <service/base/log.h>

#include <platform/system/wipe.h>

namespace panelkitd {

namespace {

void check(const std::string& text) {
    const ReadConfiguration read = readConfiguration(text);
    if (!read.bodies) throw UnusableState(read.problems);
}

StateForm form() {
    // Bodies are bounded (configuration.cpp), so no configuration is longer.
    StateForm configuration{
        .name = "configuration.json", .limit = std::uint64_t{256} << 20, .hasSecrets = true, .check = check};
    if (configuration.newest() != configurationFormat) throw std::logic_error("a migration is missing");
    return configuration;
}

} // namespace

ConfigurationFile::ConfigurationFile(const StateFolder& state) : file_(state, form()) {}

Bodies ConfigurationFile::load() {
    std::string text = file_.load();
    const platform::WipeOnExit wiped(text);
    if (file_.origin() == StateFile::Origin::none) return {};
    ReadConfiguration read = readConfiguration(text);
    for (const std::string& note : read.notes) logEvent(file_.path() + ": " + note);
    return *std::move(read.bodies);
}

void ConfigurationFile::save(const Bodies& bodies) {
    std::string text = printConfiguration(bodies);
    const platform::WipeOnExit wiped(text);
    file_.write(text);
}

} // namespace panelkitd
