// SPDX-License-Identifier: MIT
//
// The body of a section: its values in stream form, one after the other, as they are sent and as the service stores
// them. The body is split once into the values of its parameters. Values are then printed and replaced in place,
// without groups (param_group.h), and all other values keep their bytes: what is written back differs from what was
// read only in the changed parameters.
//
//   panelkit::SectionBody body(*panelkit::allGroups().find("IKE", "").group, reply); // throws BodyError
//   if (const auto error = body.enterText(body.indexOf("EXCHANGE_TIMEOUT"), "90")) return describe(*error);
//   send(body.bytes());
//
// Only one thread at a time may use a body. A body may hold secrets, and wipes them.
#pragma once

#include <panelkit/lparams/param_kind.h>
#include <platform/loccore/phrase.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace panelkit {

// Thrown when bytes are not a body of the section. The phrase says where; what() is the phrase in English.
class PANELKIT_EXPORT BodyError : public std::runtime_error {
public:
    enum class Why : unsigned char { endsEarly, goesOn };
    BodyError(Why reason, Loc::Phrase text)
        : std::runtime_error(Loc::fill(text)), why(reason), phrase(std::move(text)) {}

    Why why;
    Loc::Phrase phrase;
};

// A value as a body holds it. It is a view of the body, valid until the body is changed.
struct PANELKIT_EXPORT SectionValue {
    const LPARAMS::Client::ParamGroup* section;
    const LPARAMS::Client::Param* param; // supplies name, texts and bounds; its own value has no meaning
    std::string_view stored;             // see param_kind.h

    bool isSecret() const;
    bool isDefault() const;
    bool isLeftToService() const; // a QCD secret that asks the service to make it

    // Whether another value of the same parameter looks the same to people who edit it: two flags that are off, for
    // example, or two histories with the same newest secret.
    bool isSameAs(const SectionValue& other) const;

    std::string print(TextForm form = TextForm::display) const;
    std::string show() const; // as print() in display form, with the mask for a secret
    std::string json() const; // on one line

    // The value as a C++ type: get<std::uint32_t>() for a number.
    template <platform::WirePrimitive T>
    T get() const {
        T value{};
        platform::StreamIn(stored.data(), stored.size()).read(value);
        return value;
    }
};

class PANELKIT_EXPORT SectionBody {
public:
    // Cuts a body. `section`, which must outlive it, is usually of allGroups(). Throws BodyError.
    SectionBody(const LPARAMS::Client::ParamGroup& section, std::string_view bytes);

    // Returns the body of a section with all defaults.
    static SectionBody defaultsOf(const LPARAMS::Client::ParamGroup& section);

    ~SectionBody(); // wipes
    SectionBody(const SectionBody&) = default;
    SectionBody(SectionBody&&) = default;
    SectionBody& operator=(SectionBody other) noexcept;

    const LPARAMS::Client::ParamGroup& section() const { return *section_; }
    std::string_view bytes() const { return bytes_; }

    // The number of parameters. They are numbered from 0 in the order of the section.
    std::size_t size() const { return ends_.size(); }
    std::size_t indexOf(std::string_view key) const; // case-insensitively; size() when there is no such key
    SectionValue operator[](std::size_t index) const;

    // Returns the C++ value of the parameter with that key: get<std::uint32_t>("EXCHANGE_TIMEOUT").
    template <platform::WirePrimitive T>
    T get(std::string_view key) const {
        return (*this)[indexOf(key)].get<T>();
    }

    // Replaces one stored value by another. Throws std::invalid_argument, and changes nothing, when the bytes are not
    // exactly one stored value of that parameter.
    void replace(std::size_t index, std::string_view stored);

    // Sets a value that a person entered. If it is not legal, the value is unchanged and the error says why. The text
    // of the present value changes nothing and is always accepted, even when the value came from the service and is not
    // legal. A QCD secret is put at the front of its history.
    std::optional<ParamError> enterText(std::size_t index, std::string_view text, TextForm form = TextForm::display);

    // The same from JSON. Throws JsonMisfit when the JSON type is not that of the parameter.
    std::optional<ParamError> enterJson(std::size_t index, const platform::json::Value& json);

    void reset(std::size_t index);

    // Returns the message of the first constraint that the values break; empty when they break none.
    std::string brokenConstraint() const;

    bool operator==(const SectionBody& other) const { return bytes_ == other.bytes_; }

private:
    explicit SectionBody(const LPARAMS::Client::ParamGroup& section) : section_(&section) {}

    const LPARAMS::Client::ParamGroup* section_;
    std::string bytes_;
    std::vector<std::size_t> ends_; // of each value
};

} // namespace panelkit
