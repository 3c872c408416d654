// SPDX-License-Identifier: MIT
//
// The localization core's modules: a program part with a table of texts derives its module from Loc::CCModule. Whoever
// shows the texts makes an object of it, which loads a translation.
//
//   Loc::UIModule module;                                        // panelkit's texts
//   std::string error;
//   if (!module.load("/usr/share/locale", "ru", &error)) report(error);
//
// A load applies wholly or not at all. Entries that a catalogue does not translate keep what they held. Texts of every
// load stay valid until the process ends, also when the module is gone. The modules take no lock: they belong to the
// thread that shows the texts.
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

    // Loads the translation into a language.
    //   folder    UTF-8; holds <language>/LC_MESSAGES/<module>.mo, as /usr/share/locale does
    //   language  "ru", or "ru_RU.UTF-8" as locales are called: what follows a dot is left out, and when there is no
    //             "ru_RU" then "ru" is taken
    //   error     when not null, receives the reason of a failure
    virtual bool load(const char* folder, const char* language, std::string* error = nullptr) = 0;

protected:
    Module() = default;
    Module(const Module&) = default;
    Module(Module&&) = default;
    Module& operator=(const Module&) = default;
    Module& operator=(Module&&) = default;
};

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
    // (platform/loccore/catalogue.h): 0 when it was loaded, else lastError() says why not.
    virtual int loadFile(std::FILE* file);

    // Why the last load of this module object failed; empty when it did not.
    const std::string& lastError() const { return lastError_; }

    // Goes back to the defaults: every entry of the table and every text registered beside it.
    void restoreDefaults();

protected:
    // The names of the entries in catalogues, in table order. To be called once, before the first load; without it,
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
