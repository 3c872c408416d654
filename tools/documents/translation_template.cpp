// SPDX-License-Identifier: MIT
//
// The template of translations. An entry of the table has its name as context; registered texts follow without one. The
// comment of each text says where it is shown.
#include <tools/documents/documents.h>
#include <tools/documents/po_text.h>

#include <panelkit/loc/default_texts.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/sections/sections.h>

#include <map>
#include <string_view>
#include <vector>

namespace documents {

namespace {

using Uses = std::map<const char* const*, std::vector<std::string>>;

// Where each cell is shown: as label, help or choice. The remaining texts are those of the policy, and of sections that
// this library does not show.
Uses findUses(const panelkit::AllGroups& groups) {
    Uses uses;
    for (const auto& group : groups) {
        for (const LPARAMS::Client::Param* param : group->params) {
            const std::string name = std::string(group->name) + '.' + param->key;
            uses[&param->label].push_back(&param->label == &param->help ? "label and help of " + name
                                                                        : "label of " + name);
            if (&param->label != &param->help) uses[&param->help].push_back("help of " + name);
        }
    }
    for (const panelkit::VariantTable& table : panelkit::variantTables()) {
        for (const LPARAMS::Variant* row = table.rows; row->text; ++row) {
            uses[row->text].push_back(std::string(table.name) + ", choice " + std::to_string(row->value));
        }
    }
    return uses;
}

} // namespace

std::string translationTemplate() {
    const panelkit::AllGroups groups;
    Uses uses = findUses(groups);
    std::string text = po::header({"panelkit", panelkit::defaultTextStamp, panelkit::defaultTextCount});
    for (const panelkit::DefaultText& row : panelkit::defaultTexts()) {
        if (*row.wording) text += po::entry(uses[&panelkit::text(row.text)], row.name, row.wording);
    }
    for (const panelkit::RegisteredText& registered : panelkit::registeredTexts()) {
        std::vector<std::string> where;
        for (const auto& [cell, names] : uses) {
            if (std::string_view(*cell) == registered.wording) where.insert(where.end(), names.begin(), names.end());
        }
        if (where.empty()) where.emplace_back(registered.use);
        text += po::entry(where, nullptr, registered.wording);
    }
    return text;
}

} // namespace documents
