// SPDX-License-Identifier: MIT
//
// A draft of the service's configuration: sections as the service holds them, and as they shall be. Writing it sends
// only the sections in which something changed, reads each back, and puts everything back as it was when one fails.
//
//   ConfigDraft draft;
//   const Place place = draft.at(findParameter("IKE.EXCHANGE_TIMEOUT"));
//   setFromText(*place.group, *place.param, "90", TextForm::display);
//   draft.write();
#pragma once

#include <panelctl/config/config_wire.h>

#include <memory>
#include <string>
#include <vector>

namespace panelctl {

// One parameter, before and after. What it points at lives as long as the draft.
struct Change {
    const ParamGroup* group;
    const Param* from;
    const Param* to;
};

// Whether the value asks the service to make one: a QCD secret whose newest entry is "auto" or nothing. What is read
// back may then be another.
bool isMadeByService(const Param& param);

class ConfigDraft {
public:
    ConfigDraft() = default;
    ~ConfigDraft(); // wipes secrets
    ConfigDraft(const ConfigDraft&) = delete;
    ConfigDraft& operator=(const ConfigDraft&) = delete;

    // A place of the catalogue in the draft, for reading and changing. Its section is read from the service when it is
    // first asked for. Throws CommandError.
    Place at(const Place& inCatalogue);

    // In the order of sections and keys. Throws CommandError when values do not go together.
    std::vector<Change> changes() const;

    // Makes the service hold what the draft says. Throws CommandError when it does not, which says what became of the
    // sections that were written before.
    void write() const;

private:
    struct Section {
        std::unique_ptr<ParamGroup> before, after;
        SectionBody body; // as it was read

        SectionBody wanted() const { return body.changed(*before, *after); }
        bool isChanged() const;
    };
    using Sections = std::vector<const Section*>;

    static void writeOne(const Section& section);
    [[noreturn]] static void restore(const Sections& begun, const CommandError& cause);

    std::vector<Section> sections_; // in the order of the catalogue
};

} // namespace panelctl
