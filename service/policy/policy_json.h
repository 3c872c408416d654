// SPDX-License-Identifier: MIT
//
// The policy records as JSON: the names of the fields, in the order of the record.
#pragma once

#include <panelkit/bridge/record.h>
#include <panelkit/lsp/lsp_records.h>

#include <nlohmann/json.hpp>

#include <array>
#include <list>

namespace panelkitd {

template <class R>
struct JsonNames;

// clang-format off
template <> struct JsonNames<LSPserver_t> {
    static constexpr std::array names{"address", "logLevel", "authentication", "reserved", "idType", "idValue", "subject", "presharedKey", "timeout"};
};
template <> struct JsonNames<LSPrequest_t> {
    static constexpr std::array names{"type", "user", "file", "server", "driverMode"};
};
template <> struct JsonNames<LSPcmd::LSPentry_t> {
    static constexpr std::array names{"address", "certificateSubject", "destination"};
};
template <> struct JsonNames<LSPcmd::LSPsettings_t> {
    static constexpr std::array names{"source", "driverMode", "file", "server", "loadingDelay", "gateways"};
};
// clang-format on

template <class T>
nlohmann::json toJson(const T& value) {
    return value;
}
template <Record R>
nlohmann::json toJson(const R& record);
template <Record R>
nlohmann::json toJson(const std::list<R>& records) {
    nlohmann::json list = nlohmann::json::array();
    for (const R& record : records) list.push_back(toJson(record));
    return list;
}
template <Record R>
nlohmann::json toJson(const R& record) {
    static_assert(JsonNames<R>::names.size() == listedFields<R>);
    nlohmann::json object = nlohmann::json::object();
    std::size_t place = 0;
    R::fields(record, [&](const auto&... field) { ((object[JsonNames<R>::names[place++]] = toJson(field)), ...); });
    return object;
}

// Each throws nlohmann::json::exception when something is missing or has another type.
template <class T>
void fromJson(const nlohmann::json& json, T& value) {
    json.get_to(value);
}
template <Record R>
void fromJson(const nlohmann::json& json, R& record);
template <Record R>
void fromJson(const nlohmann::json& json, std::list<R>& records) {
    records.clear();
    for (const nlohmann::json& entry : json) fromJson(entry, records.emplace_back());
}
template <Record R>
void fromJson(const nlohmann::json& json, R& record) {
    std::size_t place = 0;
    R::fields(record, [&](auto&... field) { (fromJson(json.at(JsonNames<R>::names[place++]), field), ...); });
}

} // namespace panelkitd
