// SPDX-License-Identifier: MIT
//
// The translation of wordings that stand where they are used (phrase.h), for a program of its own texts:
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
    // Of the program called `module`, in English until a translation is loaded.
    explicit Messages(std::string module);
    Messages(const Messages&);
    Messages(Messages&&) noexcept;
    Messages& operator=(const Messages&);
    Messages& operator=(Messages&&) noexcept;
    ~Messages() override;

    // As Module::load. A translation replaces the one that was loaded before.
    bool load(const char* folder, const char* language, std::string* error = nullptr) override;

    // The translation of a wording, or the wording itself where there is none. Good until the next load.
    std::string_view translated(std::string_view wording) const;

    // The same of a wording with a plural: the form that goes with the number.
    std::string_view translated(std::string_view one, std::string_view many, std::uint64_t number) const;

private:
    struct Catalogue;

    std::string module_;
    std::shared_ptr<const Catalogue> catalogue_; // null: English
};

} // namespace Loc
