// SPDX-License-Identifier: MIT
#include <service/config/configuration.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/config/qcd_secret.h>

#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>
#include <platform/system/wipe.h>

#include <algorithm>

namespace panelkitd {

using panelkit::SectionBody;
using std::string_view;
using vocabulary::Refused;

namespace {

constexpr std::size_t largestBody = std::size_t{1} << 20;
constexpr std::size_t mostNames = 1000; // more than there are parameters
constexpr std::chrono::seconds defaultTimeOfDay = std::chrono::hours(10);

template <class T>
std::string encoded(const T& value) {
    std::string bytes;
    CommandStreamOut(bytes) << value;
    return bytes;
}

void replace(SectionBody& body, string_view key, const std::string& stored) { body.replace(body.indexOf(key), stored); }

Bodies defaultBodies(const Configuration::StartValues& start) {
    Bodies bodies;
    for (const auto& group : panelkit::allGroups()) bodies.emplace(group->name, SectionBody::defaultsOf(*group));
    replace(bodies.at("ADMIN"), "ADMIN_GROUP", encoded(start.administratorsGroup));
    replace(bodies.at("LOG"), "LOG_LEVEL", encoded(static_cast<std::int32_t>(start.logLevel)));
    return bodies;
}

// The name of a section as a front end sent it, cut for messages.
string_view shortened(string_view name) { return name.substr(0, 32); }

const LPARAMS::Client::ParamGroup& existing(string_view section) {
    if (const auto* found = findSection(section)) return *found;
    throw RefusedError(Refused::noSuchObject, "there is no section \"%s\"", shortened(section));
}

// What a front end names: a section, or one parameter of it.
struct Named {
    const LPARAMS::Client::ParamGroup* section;
    const LPARAMS::Client::Param* param; // null: all of them

    bool covers(const panelkit::SectionValue& value) const {
        return section == value.section && (!param || param == value.param);
    }
};

Named named(const std::string& name) {
    const std::size_t dot = name.find('.');
    const bool whole = dot == std::string::npos;
    const auto [section, param] =
        panelkit::allGroups().find(name.substr(0, dot), whole ? std::string() : name.substr(dot + 1));
    if (!section)
        throw RefusedError(Refused::noSuchObject, "there is no section \"%s\"", shortened(name.substr(0, dot)));
    if (!whole && !param) {
        throw RefusedError(Refused::noSuchObject, "section \"%s\" has no parameter \"%s\"", section->name,
                           shortened(string_view(name).substr(dot + 1)));
    }
    return {section, param};
}

// Front ends can write unknown levels and choices; they have no effect.
template <class Choice>
Choice choice(const SectionBody& body, string_view key, Choice last, Choice otherwise) {
    const auto value = body.get<std::int32_t>(key);
    return value >= 0 && value <= static_cast<std::int32_t>(last) ? static_cast<Choice>(value) : otherwise;
}

std::chrono::seconds timeOfDay(std::int64_t seconds) {
    return seconds >= 0 && seconds < 86400 ? std::chrono::seconds(seconds) : defaultTimeOfDay;
}

std::vector<std::string> difference(const Bodies& before, const Bodies& after) {
    std::vector<std::string> changed;
    for (const auto& [section, body] : after) {
        const auto former = before.find(section);
        if (former == before.end() || !(former->second == body)) changed.emplace_back(section);
    }
    return changed;
}

} // namespace

Configuration::Configuration(const StateFolder& state, const StartValues& start)
    : defaults_(defaultBodies(start)), file_(state) {
    const auto file = file_.lock();
    const Bodies loaded = file->load();
    storageRemarks_ = file->remarks();
    *present_.lock() = {loaded, loaded};
}

const SectionBody& Configuration::bodyIn(const Bodies& bodies, string_view section) const {
    const auto body = bodies.find(section);
    return body == bodies.end() ? defaults_.at(section) : body->second;
}

std::string Configuration::read(string_view section) const {
    const string_view name = existing(section).name;
    return std::string(bodyIn(present_.lock()->written, name).bytes());
}

void Configuration::write(string_view section, string_view body) {
    const auto& prototype = existing(section);
    if (body.size() > largestBody) {
        throw RefusedError(Refused::badInput, "section \"%s\" has %d bytes; at most %d are taken", shortened(section),
                           body.size(), largestBody);
    }
    try {
        SectionBody cut(prototype, body);
        if (keeper_.check && prototype.name == string_view(policySourceSection)) keeper_.check(policySourceIn(cut));
        present_.lock()->written.insert_or_assign(prototype.name, std::move(cut));
    } catch (const panelkit::BodyError& error) {
        throw RefusedError(Refused::badInput, "section \"%s\" is not taken", shortened(section))
            .because({{static_cast<std::uint32_t>(Refused::badInput), error.phrase}});
    }
}

std::vector<std::string> Configuration::commit(const Announce& announce) {
    const auto file = file_.lock();
    const auto [before, written] = *present_.lock(); // a copy: front ends may read and write while the disk works
    Bodies after = written;
    completeSecret(after, before);
    store(*file, before, after);
    adopt(written, after);
    std::vector<std::string> changed = difference(before, after);
    for (const Observer& observer : observers_) observer(extract(after), changed);
    if (announce && !changed.empty()) announce(changed);
    return changed;
}

// The source of the policy is stored first. If the rest can't be, it is put back.
void Configuration::store(ConfigurationFile& file, const Bodies& before, const Bodies& after) {
    const PolicySource former = policySourceIn(bodyIn(before, policySourceSection));
    const PolicySource wanted = policySourceIn(bodyIn(after, policySourceSection));
    const bool another = keeper_.keep && wanted != former;
    if (another) keeper_.keep(wanted);
    try {
        file.save(after);
    } catch (const platform::FileError& error) {
        try {
            if (another) keeper_.keep(former);
        } catch (const std::exception& second) {
            logFailure("the former source of the policy can't be put back", second);
            show(wanted); // it is the present one
        }
        throw RefusedError(Refused::notStored, "the configuration can't be stored").because(error);
    }
}

void Configuration::adopt(const Bodies& written, const Bodies& committed) {
    const auto present = present_.lock();
    present->committed = committed;
    for (const std::string& section : difference(written, committed)) {
        // A secret that was made now; what was written in the meantime comes with the next commit.
        SectionBody& body = present->written.at(section);
        if (body == written.at(section)) body = committed.at(section);
    }
}

void Configuration::completeSecret(Bodies& bodies, const Bodies& before) const {
    const auto ike = bodies.find("IKE");
    if (ike == bodies.end()) return;
    SectionBody& body = ike->second;
    auto delivered = body.get<std::string>("QCD_SECRET");
    auto committed = bodyIn(before, "IKE").get<std::string>("QCD_SECRET");
    std::string history = completeHistory(delivered, committed);
    std::string stored = encoded(history);
    const platform::WipeOnExit wipedDelivered(delivered), wipedCommitted(committed), wiped(history),
        wipedStored(stored);
    replace(body, "QCD_SECRET", stored);
}

std::vector<Configuration::Uncommitted> Configuration::uncommittedIn(const Present& present) const {
    std::vector<Uncommitted> sections;
    for (const auto& [section, written] : present.written) {
        const SectionBody& committed = bodyIn(present.committed, section);
        if (!(committed == written)) sections.push_back({committed, written});
    }
    return sections;
}

std::vector<Configuration::Uncommitted> Configuration::uncommitted() const { return uncommittedIn(*present_.lock()); }

std::vector<Configuration::Uncommitted> Configuration::revert(const std::vector<std::string>& names) {
    if (names.size() > mostNames) {
        throw RefusedError(Refused::badInput, "%d names are given; at most %d are taken", names.size(), mostNames);
    }
    std::vector<Named> wanted;
    for (const std::string& name : names) wanted.push_back(named(name));
    const auto isWanted = [&](const panelkit::SectionValue& value) {
        return wanted.empty() ||
               std::any_of(wanted.begin(), wanted.end(), [&](const Named& one) { return one.covers(value); });
    };
    const auto file = file_.lock(); // no commit: it would make permanent what is taken back now
    const auto present = present_.lock();
    std::vector<Uncommitted> reverted;
    for (Uncommitted& section : uncommittedIn(*present)) {
        SectionBody after = section.written;
        for (std::size_t i = 0; i < after.size(); ++i) {
            if (isWanted(after[i])) after.replace(i, section.committed[i].stored);
        }
        if (after == section.written) continue;
        reverted.push_back({after, section.written});
        present->written.insert_or_assign(after.section().name, std::move(after));
    }
    return reverted;
}

// ---- the source of the policy

bool Configuration::show(const PolicySource& source) {
    const auto present = present_.lock();
    if (policySourceIn(bodyIn(present->committed, policySourceSection)) == source &&
        policySourceIn(bodyIn(present->written, policySourceSection)) == source) {
        return false;
    }
    for (Bodies* bodies : {&present->committed, &present->written}) {
        SectionBody body = bodyIn(*bodies, policySourceSection);
        setPolicySource(body, source);
        bodies->insert_or_assign(defaults_.find(policySourceSection)->first, std::move(body));
    }
    return true;
}

void Configuration::sharePolicySource(const PolicySource& present, PolicySourceKeeper keeper) {
    keeper_ = std::move(keeper);
    show(present);
}

bool Configuration::adoptPolicySource(const std::function<PolicySource()>& change) {
    const auto file = file_.lock();
    return show(change());
}

ServiceSettings Configuration::settings() const { return extract(present_.lock()->committed); }

ServiceSettings Configuration::extract(const Bodies& bodies) const {
    const SectionBody& certmon = bodyIn(bodies, "CERTMON");
    const LogLevel startLevel = choice(defaults_.at("LOG"), "LOG_LEVEL", LogLevel::debug, LogLevel::events);
    return {
        .expiry = {.enabled = certmon.get<bool>("ENABLE"),
                   .days = certmon.get<std::uint32_t>("DAYS_TO_EXPIRE"),
                   .timeOfDay = timeOfDay(certmon.get<std::int64_t>("CHECKING_TIME"))},
        .crlProcessing = choice(bodyIn(bodies, "IKE"), "CRL_PROCESSING", CrlProcessing::soft, CrlProcessing::off),
        .logLevel = choice(bodyIn(bodies, "LOG"), "LOG_LEVEL", LogLevel::debug, startLevel),
        .administratorsGroup = bodyIn(bodies, "ADMIN").get<std::string>("ADMIN_GROUP"),
        .engine =
            engineParametersOf([&](string_view section) -> const SectionBody& { return bodyIn(bodies, section); }),
    };
}

} // namespace panelkitd
