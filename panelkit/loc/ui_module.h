// SPDX-License-Identifier: MIT
//
// Loc::UIModule makes the library's texts translatable. A front end makes one at its start, lets it load a translation
// and keeps it. Without one, or when loading fails, every text is in English.
//
//   Loc::UIModule texts;
//   std::string error;
//   if (!texts.load("/usr/share/locale", "ru", &error)) cli_printf("%s\n", error.c_str());
//
// After loading, labels, helps and choices of existing parameter groups show the translation, and so does every text
// that is shown later. What load and loadFile accept and check is described in platform/loccore/module.h.
#pragma once

#include <platform/loccore/module.h>

namespace Loc {

class PANELKIT_EXPORT UIModule : public CCModule {
public:
    UIModule();
    UIModule(const UIModule&);
    UIModule(UIModule&&) noexcept;
    UIModule& operator=(const UIModule&);
    UIModule& operator=(UIModule&&) noexcept;
    ~UIModule() override;
};

} // namespace Loc
