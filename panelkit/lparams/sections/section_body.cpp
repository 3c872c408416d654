// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections/section_body.h>

#include <panelkit/lparams/kind_row.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/text/ascii.h>

#include <platform/system/wipe.h>

#include <algorithm>

namespace panelkit {

using LPARAMS::Client::Constraint;
using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using platform::WipeOnExit;
using std::string_view;

namespace {

std::string valueIn(const ParamKind& kind, string_view stored) {
    return kind.valueIn ? kind.valueIn(stored) : std::string(stored);
}

// Whether the bytes are one stored value of the parameter and nothing more.
bool isWhole(const Param& param, string_view stored) {
    platform::StreamIn in(stored.data(), stored.size());
    try {
        kindOf(param).skip(in);
    } catch (const char*) { // the stream's error
        return false;
    }
    return in.rest().empty();
}

} // namespace

// ---- values

bool SectionValue::isSecret() const { return panelkit::isSecret(section->name, param->key); }

bool SectionValue::isDefault() const {
    const std::string standard = kindOf(*param).defaultOf(*param);
    return isSameAs({section, param, standard});
}

bool SectionValue::isLeftToService() const {
    const auto isLeft = kindOf(*param).isLeftToService;
    return isLeft && isLeft(stored);
}

bool SectionValue::isSameAs(const SectionValue& other) const {
    if (stored == other.stored) return true;
    std::string mine = valueIn(kindOf(*param), stored), others = valueIn(kindOf(*param), other.stored);
    const WipeOnExit wipedMine(mine), wipedOthers(others);
    return mine == others;
}

std::string SectionValue::print(TextForm form) const {
    std::string value = valueIn(kindOf(*param), stored);
    const WipeOnExit wiped(value);
    return kindOf(*param).print(*param, value, form);
}

std::string SectionValue::show() const { return maskSecret(*section, *param, print()); }

std::string SectionValue::json() const {
    std::string value = valueIn(kindOf(*param), stored);
    const WipeOnExit wiped(value);
    std::string text;
    text.reserve(maxJsonSize(value));
    kindOf(*param).printJson(*param, value, text);
    return text;
}

// ---- bodies

SectionBody::SectionBody(const ParamGroup& section, string_view bytes) : section_(&section) {
    ends_.reserve(section.params.size());
    platform::StreamIn in(bytes.data(), bytes.size());
    for (const Param* param : section.params) {
        try {
            kindOf(*param).skip(in);
        } catch (const char*) { // the stream's error
            throw BodyError(BodyError::Why::endsEarly, Loc::makePhrase("the body ends within %s", param->key));
        }
        ends_.push_back(in.position());
    }
    if (const string_view rest = in.rest(); !rest.empty()) {
        throw BodyError(BodyError::Why::goesOn, Loc::makePhrase("the body goes on for %d bytes after %s", rest.size(),
                                                                section.params.back()->key));
    }
    bytes_ = bytes;
}

SectionBody SectionBody::defaultsOf(const ParamGroup& section) {
    SectionBody body(section);
    for (const Param* param : section.params) {
        body.bytes_ += kindOf(*param).defaultOf(*param);
        body.ends_.push_back(body.bytes_.size());
    }
    return body;
}

SectionBody::~SectionBody() { platform::wipe(bytes_); }

SectionBody& SectionBody::operator=(SectionBody other) noexcept {
    std::swap(section_, other.section_);
    bytes_.swap(other.bytes_);
    ends_.swap(other.ends_);
    return *this;
}

std::size_t SectionBody::indexOf(string_view key) const {
    const auto& params = section_->params;
    const auto found = std::find_if(params.begin(), params.end(),
                                    [&](const Param* param) { return platform::equalIgnoringCase(param->key, key); });
    return static_cast<std::size_t>(found - params.begin());
}

SectionValue SectionBody::operator[](std::size_t index) const {
    const std::size_t start = index == 0 ? 0 : ends_.at(index - 1);
    return {section_, section_->params.at(index), string_view(bytes_).substr(start, ends_.at(index) - start)};
}

void SectionBody::replace(std::size_t index, string_view stored) {
    const string_view former = (*this)[index].stored;
    if (!isWhole(*section_->params[index], stored)) {
        throw std::invalid_argument(std::string("these bytes are not a value of ") + section_->params[index]->key);
    }
    const auto start = static_cast<std::size_t>(former.data() - bytes_.data());
    std::string bytes;
    bytes.reserve(bytes_.size() - former.size() + stored.size()); // growing would leave copies of secrets
    bytes.append(bytes_, 0, start).append(stored).append(bytes_, start + former.size());
    for (std::size_t i = index; i < ends_.size(); ++i) ends_[i] = ends_[i] - former.size() + stored.size();
    bytes_.swap(bytes);
    platform::wipe(bytes);
}

// ---- input

namespace {

void enterValue(SectionBody& body, std::size_t index, string_view value) {
    const auto [section, param, stored] = body[index];
    const ParamKind& kind = kindOf(*param);
    std::string present = valueIn(kind, stored);
    const WipeOnExit wipedPresent(present);
    if (value == present) return;
    std::string entered = kind.storedWith ? kind.storedWith(value, stored) : std::string(value);
    const WipeOnExit wipedEntered(entered);
    body.replace(index, entered);
}

ParamError errorAt(const SectionBody& body, std::size_t index, string_view text, TextForm form) {
    const auto [section, param, stored] = body[index];
    ParamError error = errorFor(*section, *param, text, form);
    if (!section->constraints.empty() && kindOf(*param).form == ValueForm::text) {
        SectionBody with(body);
        std::string illegal = kinds::encoded(text);
        const WipeOnExit wiped(illegal);
        with.replace(index, illegal);
        error.constraint = with.brokenConstraint();
    }
    return error;
}

} // namespace

std::optional<ParamError> SectionBody::enterText(std::size_t index, string_view text, TextForm form) {
    std::string present = (*this)[index].print(form);
    const WipeOnExit wipedPresent(present);
    if (text == present) return std::nullopt;
    const Param& param = *section_->params.at(index);
    auto value = kindOf(param).read(param, text, form);
    if (!value) return errorAt(*this, index, text, form);
    const WipeOnExit wipedValue(*value);
    enterValue(*this, index, *value);
    return std::nullopt;
}

std::optional<ParamError> SectionBody::enterJson(std::size_t index, const platform::json::Value& json) {
    const Param& param = *section_->params.at(index);
    try {
        std::string value = kindOf(param).readJson(param, json, JsonRules::entered);
        const WipeOnExit wiped(value);
        enterValue(*this, index, value);
        return std::nullopt;
    } catch (JsonMisfit& misfit) {
        if (!misfit.illegalText) throw;
        const WipeOnExit wiped(*misfit.illegalText);
        return enterText(index, *misfit.illegalText, TextForm::stored); // the service may hold this value
    }
}

void SectionBody::reset(std::size_t index) {
    const Param& param = *section_->params.at(index);
    enterValue(*this, index, kindOf(param).defaultOf(param));
}

// Constraints read the members of a group, so the body is loaded into one.
std::string SectionBody::brokenConstraint() const {
    if (section_->constraints.empty()) return {};
    for (const Section& section : sections()) {
        if (string_view(section.name) != section_->name) continue;
        const auto group = section.make();
        CommandStreamIn in(bytes_);
        group->load(in);
        for (const Constraint* constraint : group->constraints) {
            if (constraint->violated()) return constraint->message;
        }
    }
    return {};
}

} // namespace panelkit
