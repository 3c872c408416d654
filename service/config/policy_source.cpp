// SPDX-License-Identifier: MIT
#include <service/config/policy_source.h>

#include <panelkit/bridge/command_stream.h>

namespace panelkitd {

namespace {

constexpr const char* sourceKey = "SYSTEM_LSP_SOURCE";
constexpr const char* fileKey = "SYSTEM_LSP_FROM_FILE";

template <class T>
void replace(panelkit::SectionBody& body, const char* key, const T& value) {
    std::string bytes;
    CommandStreamOut(bytes) << value;
    body.replace(body.indexOf(key), bytes);
}

} // namespace

PolicySource policySourceIn(const panelkit::SectionBody& body) {
    return {body.get<std::int32_t>(sourceKey), body.get<std::string>(fileKey)};
}

void setPolicySource(panelkit::SectionBody& body, const PolicySource& source) {
    replace(body, sourceKey, source.source);
    replace(body, fileKey, source.file);
}

} // namespace panelkitd
