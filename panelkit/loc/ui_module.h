// SPDX-License-Identifier: MIT
//
// Loc::UIModule makes the library's texts translatable. A front end makes one, typically at its start, has it load a
// translation and keeps it; without one, or when loading fails, every text is there in English.
//
//   Loc::UIModule texts;
//   std::string error;
//   if (!texts.load("/usr/share/locale", "ru", &error)) cli_printf("%s\n", error.c_str());
//
// From the load on, labels, helps and choices of parameter groups that exist already show the translation, and so does
// every text that is shown later. What load and loadFile take and check: platform/loccore/module.h.
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
