// SPDX-License-Identifier: MIT
#include <panelkit/loc/ui_module.h>

#include <panelkit/loc/text_table.h>

#include <algorithm>

namespace Loc {

UIModule::UIModule() : CCModule("panelkit", panelkit::localization, false) {
    std::array<const char*, panelkit::defaultTextCount> names{};
    const auto rows = panelkit::defaultTexts();
    std::transform(rows.begin(), rows.end(), names.begin(), [](const panelkit::DefaultText& row) { return row.name; });
    nameEntries(names);
}

UIModule::UIModule(const UIModule&) = default;
UIModule::UIModule(UIModule&&) noexcept = default;
UIModule& UIModule::operator=(const UIModule&) = default;
UIModule& UIModule::operator=(UIModule&&) noexcept = default;
UIModule::~UIModule() = default;

} // namespace Loc
