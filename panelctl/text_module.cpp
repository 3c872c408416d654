// SPDX-License-Identifier: MIT
#include <panelctl/text_module.h>

#include <panelctl/text_table.h>

#include <string_view>
#include <utility>

namespace panelctl {

namespace {

#ifdef _MSC_VER
#define PANELCTL_THIS_FUNCTION __FUNCSIG__
#else
#define PANELCTL_THIS_FUNCTION __PRETTY_FUNCTION__
#endif

// What the compiler calls an enumerator, behind its last "::". Rows need no second copy of their name this way.
template <Say say>
std::string_view enumerator() {
    std::string_view name = PANELCTL_THIS_FUNCTION;
    name.remove_prefix(name.find("Say::") + 5);
    return name.substr(0, name.find_first_of("];>"));
}

template <std::size_t... positions>
std::vector<std::string_view> enumerators(std::index_sequence<positions...>) {
    return {enumerator<static_cast<Say>(positions)>()...};
}

} // namespace

std::vector<TextRow> textRows() {
    std::vector<TextRow> rows;
    for (const std::string_view name : enumerators(std::make_index_sequence<static_cast<std::size_t>(Say::count_)>())) {
        rows.push_back({std::string(name), defaultWording(static_cast<Say>(rows.size()))});
    }
    return rows;
}

TextModule::TextModule() : CCModule("panelctl", localization, false) {
    const std::vector<TextRow> rows = textRows();
    std::vector<const char*> names;
    names.reserve(rows.size());
    for (const TextRow& row : rows) names.push_back(row.name.c_str());
    nameEntries(names);
}

} // namespace panelctl
