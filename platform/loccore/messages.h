// SPDX-License-Identifier: MIT
//
// Translates the wordings in the source (phrase.h):
//
//   Loc::Messages messages("panelctl");
//   std::string error;
//   if (!messages.load("/usr/share/locale", "ru", &error)) report(error);
//   print(Loc::fill(messages.translated("there is no provider \"%s\""), arguments));
//
// A catalogue is used as a whole or not at all: if one translation takes other arguments than its wording, none of it
// is used. No lock is taken; the object is for the thread that shows the texts.
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

    // As Module::load. A new translation replaces the former one.
    bool load(const char* folder, const char* language, std::string* error = nullptr) override;

    // Returns the translation of a wording, or the wording itself when there is none. Valid until the next load.
    std::string_view translated(std::string_view wording) const;

    // The same for a wording with a plural: returns the form for the number.
    std::string_view translated(std::string_view one, std::string_view many, std::uint64_t number) const;

private:
    struct Catalogue;

    std::string module_;
    std::shared_ptr<const Catalogue> catalogue_; // null: English
};

} // namespace Loc
