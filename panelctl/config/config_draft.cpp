// SPDX-License-Identifier: MIT
#include <panelctl/config/config_draft.h>

#include <panelctl/interruption.h>
#include <panelctl/say.h>

#include <panelkit/lparams/formatted_params.h>

#include <algorithm>
#include <string_view>

namespace panelctl {

using LPARAMS::Client::QcdSParam;

bool isMadeByService(const Param& param) {
    const auto* const secret = dynamic_cast<const QcdSParam*>(&param);
    return secret && (secret->value.empty() || secret->value == "auto" || secret->value.front() == ':');
}

namespace {

std::unique_ptr<ParamGroup> makeGroup(std::string_view name) {
    const auto all = panelkit::sections();
    return std::find_if(all.begin(), all.end(), [&](const auto& section) { return section.name == name; })->make();
}

// The first parameter whose bytes differ; null when the bodies are one.
const Param* firstDifference(const ParamGroup& group, const SectionBody& wanted, const SectionBody& found) {
    for (std::size_t i = 0; i < group.params.size(); ++i) {
        const bool same = wanted.bytesOf(i) == found.bytesOf(i) || isMadeByService(*group.params[i]);
        if (!same) return group.params[i];
    }
    return nullptr;
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

} // namespace

ConfigDraft::~ConfigDraft() {
    for (const Section& section : sections_) {
        wipeSecrets(*section.before);
        wipeSecrets(*section.after);
    }
}

Place ConfigDraft::at(const Place& inCatalogue) {
    const std::string_view name = inCatalogue.group->name;
    auto place = std::lower_bound(sections_.begin(), sections_.end(), name, [](const Section& section, auto wanted) {
        return section.after->name < wanted; // the catalogue is in alphabetical order
    });
    if (place == sections_.end() || place->after->name != name) {
        Section section{makeGroup(name), makeGroup(name), {}};
        SectionBody body = SectionBody::read(*section.before);
        // The other group takes the same bytes; it is not read again, for the service may change meanwhile.
        for (std::size_t i = 0; i < section.after->params.size(); ++i) {
            CommandStreamIn in(body.bytesOf(i));
            section.after->params[i]->load(in);
        }
        place = sections_.insert(place, {std::move(section.before), std::move(section.after), std::move(body)});
    }
    return {place->after.get(),
            inCatalogue.param ? panelkit::findParam(*place->after, inCatalogue.param->key) : nullptr};
}

bool ConfigDraft::Section::isChanged() const {
    return !std::equal(before->params.begin(), before->params.end(), after->params.begin(),
                       [](const Param* a, const Param* b) { return sameValue(*a, *b); });
}

std::vector<Change> ConfigDraft::changes() const {
    std::vector<Change> changes;
    for (const Section& section : sections_) {
        if (!section.isChanged()) continue;
        requireConstraints(*section.after);
        for (std::size_t i = 0; i < section.after->params.size(); ++i) {
            const Param& from = *section.before->params[i];
            const Param& to = *section.after->params[i];
            if (!sameValue(from, to)) changes.push_back({section.after.get(), &from, &to});
        }
    }
    return changes;
}

// ---- writing

void ConfigDraft::write() const {
    const HeldInterruption interruption; // so that nobody's Ctrl-C leaves half of it
    Sections begun;
    try {
        for (const Section& section : sections_) {
            if (!section.isChanged()) continue;
            HeldInterruption::check();
            begun.push_back(&section);
            writeOne(section);
        }
        HeldInterruption::check();
    } catch (const CommandError& cause) {
        restore(begun, cause);
    }
}

// Writes, and reads back with a group of its own.
void ConfigDraft::writeOne(const Section& section) {
    const SectionBody wanted = section.wanted();
    wanted.write(section.after->name);
    const auto fresh = makeGroup(section.after->name);
    const SectionBody found = SectionBody::read(*fresh);
    const Param* const other = firstDifference(*section.after, wanted, found);
    std::string holds = other ? shown(*fresh, *panelkit::findParam(*fresh, other->key), false) : "";
    wipeSecrets(*fresh);
    if (other) {
        throw CommandError(Exit::refused, say("%s: the service accepted the value, but holds \"%s\"",
                                              nameOf(*section.after, *other), holds));
    }
}

// A write that failed may have been done all the same, so every section that was begun is looked at.
void ConfigDraft::restore(const Sections& begun, const CommandError& cause) {
    std::vector<std::string> restored, lost;
    std::for_each(begun.rbegin(), begun.rend(), [&](const Section* section) {
        const auto fresh = makeGroup(section->before->name);
        try {
            const bool isUntouched = SectionBody::read(*fresh) == section->body;
            if (!isUntouched) {
                section->body.write(section->before->name);
                const SectionBody found = SectionBody::read(*fresh);
                (firstDifference(*section->before, section->body, found) ? lost : restored)
                    .emplace_back(section->before->name);
            }
        } catch (const CommandError&) {
            lost.emplace_back(section->before->name);
        }
        wipeSecrets(*fresh);
    });
    const std::string why = cause.what();
    if (!lost.empty()) {
        throw CommandError(Exit::notRestored, say("%s; these sections could NOT be restored: %s", why, listed(lost)));
    }
    if (!restored.empty()) {
        throw CommandError(Exit::restored, say("%s; the sections that were already written have been restored: %s", why,
                                               listed(restored)));
    }
    throw CommandError(cause.code, say("%s; nothing was changed", why));
}

} // namespace panelctl
