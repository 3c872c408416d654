// SPDX-License-Identifier: MIT
//
// Sections as they travel, with the bytes of every parameter kept. What is written back then differs from what was read
// in just the parameters that were changed: a parameter's own encoding may differ from the service's bytes (the history
// of a QCD secret grows by being saved, a flag that is neither 0 nor 1 is saved as 0), and what is restored must be
// what was there.
#pragma once

#include <panelctl/config/config_values.h>

#include <string>
#include <vector>

namespace panelctl {

// The body of a section, the bytes of each parameter; wiped with the object.
class SectionBody {
public:
    SectionBody() = default;
    ~SectionBody();
    SectionBody(SectionBody&&) = default;
    SectionBody& operator=(SectionBody&&) = default;

    // Reads the section from the service into the group. Throws CommandError.
    static SectionBody read(ParamGroup& into);

    // The body that says what the group holds: of parameters that are the same in `before`, the bytes of this body.
    SectionBody changed(const ParamGroup& before, const ParamGroup& after) const;

    // Writes it to the service. Throws CommandError.
    void write(const char* section) const;

    const std::string& bytesOf(std::size_t param) const { return params_[param]; }
    bool operator==(const SectionBody& other) const { return params_ == other.params_; }

private:
    SectionBody(const std::string& bytes, ParamGroup& into);

    std::vector<std::string> params_;
};

} // namespace panelctl
