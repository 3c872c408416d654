// SPDX-License-Identifier: MIT
//
// The configuration: the sections' bodies as front ends wrote them, in memory until they are committed, then on disk.
// Only the structure of a body is checked when it is written, and it is returned byte for byte; front ends check
// bounds.
//
// Any thread may call everything.
#pragma once

#include <service/config/configuration_file.h>
#include <service/config/policy_source.h>
#include <service/config/settings.h>

#include <platform/system/guarded.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

class Configuration {
public:
    // Values from the command line that replace the library's defaults in sections that were never committed.
    struct StartValues {
        LogLevel logLevel = LogLevel::events;
        std::string administratorsGroup;
    };

    // Reads the last commit.
    Configuration(const StateFolder& state, const StartValues& start);

    // Returns the body as last written, committed or not; otherwise the defaults. Throws RefusedError for an unknown
    // section.
    std::string read(std::string_view section) const;

    // Throws RefusedError for an unknown section, for a body that does not match it or is larger than a mebibyte, and
    // for a source of the policy that can't be taken.
    void write(std::string_view section, std::string_view body);

    // What is wrong with the stored configuration; empty when nothing is.
    const Remarks& storageRemarks() const { return storageRemarks_; }

    // Makes everything permanent that was written, and makes a QCD secret that was left to the service. Throws
    // RefusedError, with nothing changed, when the file can't be replaced or could not be read. Returns the names of
    // the sections that changed.
    // `announce` is called with them, if there are any, in the order of the commits; the next one waits for it, so it
    // must not block.
    using Announce = std::function<void(const std::vector<std::string>& changed)>;
    std::vector<std::string> commit(const Announce& announce = nullptr);

    // The bodies of a section that was written since the last commit, and differs from it.
    struct Uncommitted {
        panelkit::SectionBody committed, written;
    };
    std::vector<Uncommitted> uncommitted() const;

    // Takes back what was written since the last commit: sections ("IKE"), parameters ("IKE.EXCHANGE_TIMEOUT"), or
    // everything when there are no names. Returns each section that changed, with the values that it had before as
    // `written` and only these different. Throws RefusedError, with nothing changed, for an unknown name. Waits for a
    // commit that is under way.
    std::vector<Uncommitted> revert(const std::vector<std::string>& names);

    // From now on the keeper has the source of the policy, whose present value is given; that in the stored
    // configuration does not count. To be called before the service accepts sessions.
    void sharePolicySource(const PolicySource& present, PolicySourceKeeper keeper);

    // Shows the source that `change` returns, after it was stored there, in the committed section and in the written
    // one. Returns whether it is another one. No commit runs at the same time. What `change` throws is passed on, with
    // nothing changed here.
    bool adoptPolicySource(const std::function<PolicySource()>& change);

    // Returns the settings as last committed.
    ServiceSettings settings() const;

    // Called after each commit, on the thread of the commit, with the names of the sections that changed. It must
    // neither commit nor throw. Add observers before the service accepts sessions.
    using Observer = std::function<void(const ServiceSettings&, const std::vector<std::string>& changed)>;
    void observe(Observer observer) { observers_.push_back(std::move(observer)); }

private:
    struct Present {
        Bodies committed;
        Bodies written; // committed, and what was written since
    };

    const panelkit::SectionBody& bodyIn(const Bodies& bodies, std::string_view section) const;
    std::vector<Uncommitted> uncommittedIn(const Present& present) const;
    void completeSecret(Bodies& bodies, const Bodies& before) const;
    void adopt(const Bodies& written, const Bodies& committed);
    bool show(const PolicySource& source);
    void store(ConfigurationFile& file, const Bodies& before, const Bodies& after);
    ServiceSettings extract(const Bodies& bodies) const;

    Bodies defaults_; // of all sections
    std::vector<Observer> observers_;
    PolicySourceKeeper keeper_;

    Remarks storageRemarks_;                    // does not change after the start
    platform::Guarded<ConfigurationFile> file_; // locked by a commit to its end: one at a time
    platform::Guarded<Present> present_;
};

} // namespace panelkitd
