// SPDX-License-Identifier: MIT
#include <service/config/shapes.h>

#include <platform/system/little_endian.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <optional>

namespace panelkitd {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using std::string_view;

namespace {

constexpr std::size_t sizeOfCount = 4;

std::uint32_t loadCount(string_view bytes) { return platform::loadLittleEndian<std::uint32_t>(bytes.data()); }

// How many bytes at the start of `rest` make a list of gateways.
std::optional<std::size_t> widthOfGateways(const ParamGroup& gateway, string_view rest);

// How many bytes at the start of `rest` the parameter takes; nothing when it would take more than there are.
std::optional<std::size_t> widthOf(const Param& param, string_view rest, const ParamGroup& gateway) {
    const auto fixed = [&](std::size_t width) { return width <= rest.size() ? std::optional(width) : std::nullopt; };
    switch (param.type()) {
    case 0: return fixed(1);
    case 1: return fixed(2);
    case 2:
    case 4: return fixed(4);
    case 8: return widthOfGateways(gateway, rest);
    case 9: return fixed(8);
    default: return rest.size() < sizeOfCount ? std::nullopt : fixed(sizeOfCount + loadCount(rest));
    }
}

std::optional<std::size_t> widthOfGateways(const ParamGroup& gateway, string_view rest) {
    if (rest.size() < sizeOfCount) return std::nullopt;
    std::size_t width = sizeOfCount;
    // A gateway takes some bytes at least, so a count that is out of all proportion ends the loop soon.
    for (std::uint32_t left = loadCount(rest); left > 0; --left) {
        for (const Param* param : gateway.params) {
            const auto more = widthOf(*param, rest.substr(width), gateway);
            if (!more) return std::nullopt;
            width += *more;
        }
    }
    return width;
}

// Takes the values of a group from the start of `rest`.
std::vector<Value> take(const ParamGroup& group, string_view& rest, const ParamGroup& gateway) {
    std::vector<Value> values;
    values.reserve(group.params.size());
    for (const Param* param : group.params) {
        const auto width = widthOf(*param, rest, gateway);
        if (!width) throw BodyError(std::string("the body ends within ") + param->key);
        values.push_back({param, rest.substr(0, *width)});
        rest.remove_prefix(*width);
    }
    return values;
}

} // namespace

const ParamGroup* Shapes::find(string_view section) const {
    const auto found =
        std::find_if(groups_.begin(), groups_.end(), [&](const auto& group) { return group->name == section; });
    return found == groups_.end() ? nullptr : found->get();
}

std::vector<Value> Shapes::cut(const ParamGroup& section, string_view body) const {
    std::vector<Value> values = take(section, body, gateway_);
    if (!body.empty()) {
        throw BodyError("the body goes on for " + std::to_string(body.size()) + " bytes behind " +
                        section.params.back()->key);
    }
    return values;
}

std::vector<std::vector<Value>> Shapes::cutGateways(string_view bytes) const {
    std::vector<std::vector<Value>> gateways;
    for (bytes.remove_prefix(sizeOfCount); !bytes.empty();) gateways.push_back(take(gateway_, bytes, gateway_));
    return gateways;
}

string_view Shapes::bytesOf(string_view section, string_view key, string_view body) const {
    const std::vector<Value> values = cut(*find(section), body);
    return std::find_if(values.begin(), values.end(), [&](const Value& value) { return value.param->key == key; })
        ->bytes;
}

Bodies::~Bodies() {
    for (auto& [section, body] : bodies_) platform::wipe(body);
}

const std::string* Bodies::find(string_view section) const {
    const auto found = bodies_.find(section);
    return found == bodies_.end() ? nullptr : &found->second;
}

void Bodies::set(string_view section, string_view body) {
    std::string& place = bodies_[std::string(section)];
    std::string former = std::move(place);
    place = body;
    platform::wipe(former);
}

} // namespace panelkitd
