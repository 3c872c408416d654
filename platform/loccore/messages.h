// SPDX-License-Identifier: MIT
//
// The translation of wordings that are written where they are used (phrase.h):
//
//   Loc::Messages messages("panelctl");
//   std::string error;
//   if (!messages.load("/usr/share/locale", "ru", &error)) report(error);
//   print(Loc::fill(messages.translated("there is no provider \"%s\""), arguments));
//
// A catalogue is taken whole or not at all: with one translation that takes other arguments than its wording, nothing
// of it is used. No lock is taken; the object belongs to the thread that shows the texts.
#pragma once

#include <platform/export.h>
#include <platform/loccore/module.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Loc {

class PANELKIT_EXPORT Messages final : public Module {
public:
    // `module` is the name of the catalogue. Everything is in English until one is loaded.
    explicit Messages(std::string module);
    Messages(const Messages&);
    Messages(Messages&&) noexcept;
    Messages& operator=(const Messages&);
    Messages& operator=(Messages&&) noexcept;
    ~Messages() override;

    // As Module::load. A translation replaces the one that was loaded before.
    bool load(const char* folder, const char* language, std::string* error = nullptr) override;

    // The translation of a wording, or the wording itself where there is none. Valid until the next load.
    std::string_view translated(std::string_view wording) const;

    // The same for a wording with a plural: the form that goes with the number.
    std::string_view translated(std::string_view one, std::string_view many, std::uint64_t number) const;

private:
    struct Catalogue;

    std::string module_;
    std::shared_ptr<const Catalogue> catalogue_; // null: English
};

} // namespace Loc
