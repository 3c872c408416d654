// SPDX-License-Identifier: MIT
//
// The modules of the localization core. A part of a program with a table of texts derives its module from
// Loc::CCModule. The code that shows the texts makes an object of this class, which loads a translation.
//
//   Loc::UIModule module;                                        // panelkit's texts
//   std::string error;
//   if (!module.load("/usr/share/locale", "ru", &error)) report(error);
//
// A load takes effect completely or not at all. Entries that a catalogue does not translate keep their text. Texts of
// every load stay valid until the process ends, even when the module is destroyed. The modules take no lock: they are
// for the thread that shows the texts.
#pragma once

#include <platform/export.h>
#include <platform/loccore/localization.h>

#include <cstdio>
#include <span>
#include <string>

namespace Loc {

class PANELKIT_EXPORT Module {
public:
    virtual ~Module();

    // Loads the translation for a language.
    //   folder    UTF-8; holds <language>/LC_MESSAGES/<module>.mo, as in /usr/share/locale
    //   language  "ru", or "ru_RU.UTF-8" as a locale's name: the part after a dot is ignored, and if there is no
    //             "ru_RU" then "ru" is used
    //   error     when not null, receives the reason of a failure
    virtual bool load(const char* folder, const char* language, std::string* error = nullptr) = 0;

protected:
    Module() = default;
    Module(const Module&) = default;
    Module(Module&&) = default;
    Module& operator=(const Module&) = default;
    Module& operator=(Module&&) = default;
};

// A module with a table of texts and catalogues as plain output of msgfmt.
class PANELKIT_EXPORT CCModule : public Module {
public:
    // A module called `name` with the table that `localization` describes; both must live as long as the process.
    // With `complete`, a catalogue that leaves an entry of the table untranslated is refused.
    CCModule(const char* name, const CCLocLoader::Localization& localization, bool complete);
    CCModule(const CCModule&);
    CCModule(CCModule&&) noexcept;
    CCModule& operator=(const CCModule&);
    CCModule& operator=(CCModule&&) noexcept;
    ~CCModule() override;

    bool load(const char* folder, const char* language, std::string* error = nullptr) override;

    // Loads a catalogue from an open file, from its position to its end; the caller closes it. Returns a Loc::Status
    // (platform/loccore/catalogue.h): 0 when it was loaded, otherwise lastError() is the reason.
    virtual int loadFile(std::FILE* file);

    // Why the last load of this module object failed; empty when it succeeded.
    const std::string& lastError() const { return lastError_; }

    // Restores the defaults of every entry of the table and every text registered beside it.
    void restoreDefaults();

protected:
    // Sets the names of the entries in catalogues, in table order. Call it once, before the first load; without it,
    // entries are named by their position.
    void nameEntries(std::span<const char* const> names);

private:
    int apply(std::string bytes);

    const char* name_;
    const CCLocLoader::Localization* localization_;
    bool complete_;
    std::string lastError_;
};

} // namespace Loc
