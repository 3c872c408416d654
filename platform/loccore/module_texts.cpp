// SPDX-License-Identifier: MIT
#include <platform/loccore/module_texts.h>

namespace Loc {

ModuleTexts& ModuleTexts::of(std::string_view module) {
    // Never destroyed: destructors of static objects read texts too.
    static auto& modules = *new std::map<std::string, ModuleTexts, std::less<>>;
    auto place = modules.find(module);
    if (place == modules.end()) place = modules.try_emplace(std::string(module), module).first;
    return place->second;
}

void ModuleTexts::setTable(const CCLocLoader::Localization& table, std::span<const char* const> names) {
    if (table_.index == table.index && names_.size() == table.count) return; // known already
    table_ = table;
    nameTexts_.clear();
    for (std::size_t i = 0; i < table.count; ++i) {
        nameTexts_.push_back(i < names.size() ? names[i] : std::to_string(i));
    }
    names_.assign(nameTexts_.begin(), nameTexts_.end());
    defaults_.clear();
    for (std::size_t i = 0; i < table.count; ++i) defaults_.emplace_back(*table.index[i]);
}

const char*& ModuleTexts::add(const char* text) {
    cells_.push_back({translated(text), text});
    return cells_.back().text;
}

const char* ModuleTexts::translated(const char* text) const {
    const auto translation = translated_.find(std::string_view(text));
    return translation == translated_.end() ? text : translation->second;
}

TableEdition ModuleTexts::edition(bool complete) const { return {module_, table_.stamp, names_, defaults_, complete}; }

Status ModuleTexts::apply(std::string catalogue, bool complete, std::string& error) {
    // Stored before it is checked, because views into a string are valid only after it was moved to its final place.
    const std::string& bytes = catalogues_.emplace_back(std::move(catalogue));
    Translations found;
    if (const Status status = checkCatalogue(bytes, edition(complete), found, error)) {
        catalogues_.pop_back();
        return status;
    }
    for (const auto& [position, text] : found.entries) *table_.index[position] = text;
    for (const auto& [wording, text] : found.registered) translated_[wording] = text;
    for (Cell& cell : cells_) cell.text = translated(cell.wording);
    return Loaded;
}

void ModuleTexts::restoreDefaults() {
    for (std::size_t i = 0; i < defaults_.size(); ++i) *table_.index[i] = defaults_[i].data();
    translated_.clear();
    for (Cell& cell : cells_) cell.text = cell.wording;
}

} // namespace Loc
