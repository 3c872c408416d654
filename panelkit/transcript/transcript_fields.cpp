// SPDX-License-Identifier: MIT
#include <panelkit/transcript/transcript_fields.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/lparams/sections/section_body.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/transcript/field_names.h>

#include <platform/json/json.h>
#include <platform/text/escape.h>

#include <algorithm>
#include <array>
#include <list>
#include <utility>
#include <vector>

namespace panelkit {

namespace {

constexpr std::size_t mostFields = 500;
constexpr std::size_t longestShown = 200; // bytes of a text

void appendText(std::string_view text, std::string& json) {
    platform::json::appendQuoted(platform::escaped(platform::shortened(text, longestShown)), json);
}

// Reads a payload field by field and writes each as JSON. Ends at the first field that is not there whole.
class FieldReader {
public:
    FieldReader(std::string_view payload, std::string_view section, std::string& json)
        : in_(payload.data(), payload.size()), payload_(payload), section_(section), json_(json) {
        json_ += "{\"bytes\":" + std::to_string(payload.size()) + ",\"fields\":[";
    }

    template <class... Types>
    void read(Fields<Types...>, [[maybe_unused]] std::string_view names) {
        try {
            (readField(Fields<Types>(), names), ...);
        } catch (const char*) {} // `field_` is the one that is not there whole
    }

    void finish() {
        json_ += ']';
        if (!field_.empty()) appendEnd();
        const std::size_t unread = in_.rest().size();
        if (field_.empty() && unread > 0) json_ += ",\"unread\":" + std::to_string(unread);
        if (shown_ > mostFields) json_ += ",\"notShown\":" + std::to_string(shown_ - mostFields);
        json_ += '}';
    }

private:
    // ---- fields of rows

    template <class Type>
    void readField(Fields<Type>, std::string_view& names) {
        readValue<Type>(std::string(takeWord(names)));
    }
    template <class Type>
    void readField(Fields<Optional<Type>>, std::string_view& names) {
        const std::string name(takeWord(names));
        if (!in_.rest().empty()) readValue<Type>(name);
    }
    template <class Count, class First, class Second>
    void readField(Fields<Pairs<Count, First, Second>>, std::string_view& names) {
        const std::string first(takeWord(names)), second(takeWord(names));
        const auto count = readPrimitive<Count>("count");
        for (Count i = 0; i < count; ++i) readPair<First, Second>(first, second, static_cast<std::size_t>(i));
    }
    template <class First, class Second>
    void readField(Fields<MorePairs<First, Second>>, std::string_view& names) {
        const std::string first(takeWord(names)), second(takeWord(names));
        for (std::size_t i = 0; !in_.rest().empty(); ++i) readPair<First, Second>(first, second, i);
    }
    void readField(Fields<Bytes>, std::string_view& names) {
        takeWord(names);
        if (const auto* group = allGroups().find(section_, "").group) return readSection(*group);
        in_.skip(static_cast<std::uint32_t>(in_.rest().size())); // a policy's text; only its size is told
    }

    template <class First, class Second>
    void readPair(const std::string& first, const std::string& second, std::size_t index) {
        const std::string place = '[' + std::to_string(index) + ']';
        readValue<First>(first + place);
        readValue<Second>(second + place);
    }

    // ---- values

    template <class Type>
    void readValue(const std::string& name) {
        if constexpr (platform::WirePrimitive<Type>) {
            readPrimitive<Type>(name);
        } else if constexpr (std::is_same_v<Type, SecretText>) {
            begin(name);
            in_.readView();
            add("\"secret\":true");
        } else {
            readRecord<Type>(name);
        }
    }

    template <Record R>
    void readRecord(const std::string& name) {
        static_assert(wordCount(namesOf<R>.fields) == listedFields<R>, "field_names.h lacks names");
        const std::string_view outer = std::exchange(record_, namesOf<R>.type);
        std::string_view names = namesOf<R>.fields;
        R::fields(static_cast<const R&>(R()), [&]<class... Types>(const Types&...) {
            (readMember(name + '.' + std::string(takeWord(names)), static_cast<const Types*>(nullptr)), ...);
        });
        record_ = outer;
    }
    template <class List>
    requires requires { typename List::value_type; }
    void readRecord(const std::string& name) { readMember(name, static_cast<const List*>(nullptr)); }

    template <class Type>
    void readMember(const std::string& name, const Type*) {
        readValue<Type>(name);
    }
    template <class Type>
    void readMember(const std::string& name, const std::vector<Type>*) {
        readElements<Type>(name);
    }
    template <class Type>
    void readMember(const std::string& name, const std::list<Type>*) {
        readElements<Type>(name);
    }
    void readMember(const std::string& name, const StringPairs*) {
        const auto count = readPrimitive<std::uint32_t>(name + ".count");
        for (std::uint32_t i = 0; i < count; ++i) readPair<std::string, std::string>(name, name, i);
    }
    template <class Type>
    void readElements(const std::string& name) {
        const auto count = readPrimitive<std::uint32_t>(name + ".count");
        for (std::uint32_t i = 0; i < count; ++i) readValue<Type>(name + '[' + std::to_string(i) + ']');
    }

    template <class Type>
    Type readPrimitive(const std::string& name) {
        begin(name);
        Type value{};
        in_ >> value;
        std::string text = "\"value\":";
        if constexpr (std::is_same_v<Type, bool>) {
            text += value ? "true" : "false";
        } else if constexpr (std::is_same_v<Type, std::string>) {
            appendText(value, text);
        } else if constexpr (std::is_enum_v<Type>) {
            text += std::to_string(static_cast<std::uint32_t>(value));
        } else {
            text += std::to_string(value);
        }
        add(text);
        return value;
    }

    // The values of a section by their keys.
    void readSection(const LPARAMS::Client::ParamGroup& group) {
        record_ = section_;
        begin("body");
        try {
            const SectionBody body(group, in_.rest());
            const std::size_t start = at_;
            for (std::size_t i = 0; i < body.size(); ++i) {
                const SectionValue value = body[i];
                begin(value.param->key);
                at_ = start + static_cast<std::size_t>(value.stored.data() - body.bytes().data());
                std::string text = "\"value\":";
                if (!value.isSecret()) appendText(value.show(), text);
                add(value.isSecret() ? "\"secret\":true" : text);
            }
            in_.skip(static_cast<std::uint32_t>(body.bytes().size()));
        } catch (const BodyError& error) {
            problem_ = error.what();
            platform::throwStreamError();
        }
    }

    // ---- output

    void begin(std::string name) {
        field_ = std::move(name);
        at_ = in_.position();
    }
    void add(const std::string& value) {
        if (++shown_ <= mostFields) {
            if (shown_ > 1) json_ += ',';
            json_ += "{\"at\":" + std::to_string(at_) + ",\"name\":";
            platform::json::appendQuoted(field_, json_);
            json_ += ',' + value + '}';
        }
        field_.clear();
    }
    void appendEnd() {
        json_ += ",\"endsEarly\":{\"record\":";
        appendText(record_, json_);
        json_ += ",\"field\":";
        platform::json::appendQuoted(field_, json_);
        json_ += ",\"at\":" + std::to_string(at_) + ",\"left\":" + std::to_string(payload_.size() - at_);
        if (!problem_.empty()) {
            json_ += ",\"problem\":";
            appendText(problem_, json_);
        }
        json_ += '}';
    }

    CommandStreamIn in_;
    std::string_view payload_;
    std::string_view section_; // whose body the payload holds; empty when it holds none
    std::string& json_;
    std::string_view record_; // the innermost one that is being read
    std::string field_;       // the one that is being read; empty between two
    std::size_t at_ = 0;      // where it begins
    std::size_t shown_ = 0;
    std::string problem_;
};

// Of the module of the configuration: the first field of each request is the name of a section.
std::string_view sectionOf(Command command, std::string_view request) {
    if (commandRow(command).module != ModuleParameters || request.empty()) return {};
    try {
        return platform::StreamIn(request.data(), request.size()).readView();
    } catch (const char*) {
        return {};
    }
}

template <class Row>
void appendPayload(std::string_view names, std::string_view section, std::string_view payload, std::string& json) {
    if constexpr (std::is_same_v<Row, Unread>) {
        appendUnknownJson(payload, json);
    } else {
        FieldReader reader(payload, section, json);
        reader.read(Row(), names);
        reader.finish();
    }
}

using Append = void (*)(std::string_view names, std::string_view section, std::string_view payload, std::string& json);

struct Appends {
    Append request, reply;
};

template <Command command>
constexpr Appends appendsOf() {
    static_assert(commandNames[static_cast<std::size_t>(command)].command == command,
                  "field_names.h has another order");
    static_assert(areNamed(RequestOf<command>(), namesOfCommand(command).request), "field_names.h lacks names");
    static_assert(areNamed(ReplyOf<command>(), namesOfCommand(command).reply), "field_names.h lacks names");
    return {appendPayload<RequestOf<command>>, appendPayload<ReplyOf<command>>};
}

constexpr auto appends = []<std::size_t... place>(std::index_sequence<place...>) {
    return std::array{appendsOf<static_cast<Command>(place)>()...};
}
(std::make_index_sequence<commandTable.size()>());

const Appends& appendsFor(Command command) { return appends[static_cast<std::size_t>(command)]; }

} // namespace

const CommandRow* findCommand(std::uint32_t module, std::uint32_t code) {
    const auto found = std::find_if(commandTable.begin(), commandTable.end(),
                                    [=](const CommandRow& row) { return row.module == module && row.code == code; });
    return found == commandTable.end() ? nullptr : &*found;
}

void appendRequestJson(Command command, std::string_view request, std::string& json) {
    appendsFor(command).request(namesOfCommand(command).request, sectionOf(command, request), request, json);
}

void appendReplyJson(Command command, std::string_view request, std::string_view reply, std::string& json) {
    appendsFor(command).reply(namesOfCommand(command).reply, sectionOf(command, request), reply, json);
}

void appendUnknownJson(std::string_view payload, std::string& json) {
    json += "{\"bytes\":" + std::to_string(payload.size()) + ",\"fields\":[]";
    if (!payload.empty()) json += ",\"unread\":" + std::to_string(payload.size());
    json += '}';
}

} // namespace panelkit
