// SPDX-License-Identifier: MIT
#include <panelkit/lsp/policy_text.h>

#include <panelkit/format/time_text.h>
#include <panelkit/loc/default_texts.h>
#include <platform/text/ascii.h>

#include <algorithm>
#include <string_view>

namespace panelkit {

namespace {

using InfoType = LSPrequest_t::InfoType;

enum class Tabs : bool { kept, blanked };

bool isSamePolicy(const LSPinfo_t& info, const LSPrequest_t& required) {
    return info.request == required && !info.fromConfigDb;
}

// Another policy than the required one is an error, except for files: their contents may differ.
bool isWrongPolicy(const LSPinfo_t& info, const LSPrequest_t& required) {
    return !isSamePolicy(info, required) && !(isFilePolicy(info.request.type) && isFilePolicy(required.type));
}

// The text for an unknown mode has neither the blank nor the brackets of the others; front ends search for this exact
// text.
Text driverModeText(std::uint32_t mode) {
    switch (mode) {
    case LSPdropAll: return Text::dropAll;
    case LSPdropAllExceptDhcp: return Text::dropAllExceptDhcp;
    case LSPpassAll: return Text::passAll;
    default: return Text::unknownDriverMode;
    }
}

void appendUser(const LSPrequest_t& request, std::string& out) {
    if (!request.user.empty()) out.append(" (").append(request.user).append(")");
}

void appendTime(const LSPinfo_t& info, std::string& out) {
    appendCtime(info.activated, out);
    if (info.fromConfigDb) out += text(Text::fromConfigDb);
}

void appendDescription(const LSPrequest_t& request, std::string& out) {
    if (request.type == LSPdriver) {
        out.append(text(Text::typeDefaultDriverPolicy)).append(text(driverModeText(request.driverMode)));
        return;
    }
    if (isUserPolicy(request.type)) {
        out += text(Text::typeUserPolicy);
        appendUser(request, out);
        out += '\n';
    } else {
        out += text(Text::typeSystemPolicy);
    }
    out += text(Text::sourceOfPolicy);
    if (isFilePolicy(request.type)) {
        out.append(text(Text::fileOfPolicy)).append(request.file);
    } else if (isServerPolicy(request.type)) {
        out.append(text(Text::serverOfPolicy)).append(request.server.Server);
    } else {
        out += text(Text::localHost);
    }
}

void appendCertificateState(const LSPinfo_t& info, std::string& out) {
    switch (info.certificateState) {
    case LSPcertificateMissing:
    case 5:
    case 6:
    case 8:
    case 11: out += text(Text::certificateIsMissing); break;
    case LSPcertificateNotYetValid: out.append(text(Text::certificateValidFrom)).append(info.certificateDate); break;
    case LSPcertificateExpired: out.append(text(Text::certificateNotValidAfter)).append(info.certificateDate); break;
    case LSPcertificateKeyExpired: out.append(text(Text::privateKeyNotValidAfter)).append(info.certificateDate); break;
    case LSPcertificateNotSelected: out += text(Text::certificateNotSelected); break;
    case LSPcertificateLacksKeyUsage: out += text(Text::certificateLacksKeyUsage); break;
    default: break;
    }
}

constexpr std::string_view warningMark = "#warn: ";

bool isWarning(std::string_view message) {
    return platform::equalIgnoringCase(message.substr(0, warningMark.size()), warningMark);
}

// Returns true when there is a message that a user should act on; a warning is not one.
bool appendMessage(const LSPinfo_t& info, Tabs tabs, std::string& out) {
    std::string message = info.message;
    if (message.empty()) return false;
    const bool warning = isWarning(message);
    if (warning) message.erase(0, warningMark.size());
    if (tabs == Tabs::blanked) std::replace(message.begin(), message.end(), '\t', ' ');
    out.append(info.bareMessage ? "" : " (").append(message).append(info.bareMessage ? "" : ")");
    return !warning;
}

// The message is used while a policy is loading, and when it is a bare one; otherwise the credentials are.
bool appendDiagnosis(const LSPinfo_t& info, const LSPrequest_t& required, Tabs tabs, std::string& out) {
    if (info.isLoading || info.bareMessage) return appendMessage(info, tabs, out);
    if (required.server.authKind == LSPauthPresharedKey) {
        out.append(text(Text::presharedKeyIsMissing)).append(": ").append(info.request.server.presharedKeyName);
    } else {
        appendCertificateState(info, out);
    }
    return true;
}

} // namespace

InfoType longPolicyText(const LSPinfo_t& info, const LSPrequest_t& required, std::string& out, std::string& diagnosis) {
    const bool isWrong = isWrongPolicy(info, required);
    out.clear();
    if (info.isLoading) {
        out += text(Text::loadingNewPolicy);
    } else if (isWrong) {
        out.append(text(Text::couldNotLoadPolicy)).append(text(Text::requiredPolicy));
    }
    if (info.isLoading || isWrong) {
        appendDescription(required, out);
        out += '\n';
    }
    out += text(Text::currentPolicy);
    appendDescription(info.request, out);
    if (info.request.type != LSPdriver) out.append("\n  ").append(text(Text::titleOfPolicy)).append(info.Title);
    out.append("\n  ").append(text(Text::activated));
    appendTime(info, out);

    diagnosis.clear();
    const bool isDiagnosed = appendDiagnosis(info, required, Tabs::kept, diagnosis);
    if (info.isLoading) return InfoType::loading;
    return isDiagnosed ? InfoType::diagnosed : InfoType::inForce;
}

InfoType shortPolicyText(const LSPinfo_t& info, const LSPrequest_t& required, std::string& out) {
    if (info.isLoading) {
        out = text(Text::policyLoading);
        return InfoType::loading;
    }
    const LSPrequest_t& inForce = info.request;
    if (inForce.type == LSPdriver && required.type == LSPdriver) {
        out = text(Text::defaultDriverPolicyIsActive);
        out += text(driverModeText(inForce.driverMode));
        return InfoType::inForce;
    }
    if (isWrongPolicy(info, required)) {
        out = text(Text::loadingPolicyFailed);
        appendDiagnosis(info, required, Tabs::blanked, out);
        return InfoType::diagnosed;
    }
    out = text(isUserPolicy(inForce.type) ? Text::userPolicy : Text::systemPolicy);
    if (isUserPolicy(inForce.type)) {
        appendUser(inForce, out);
        out += ':'; // "System policy" has none
    }
    out.append(" '").append(info.Title).append("' ").append(text(Text::activatedAt));
    appendTime(info, out);
    if (info.message.empty()) return InfoType::inForce;
    out += text(Text::diagnosis);
    appendDiagnosis(info, required, Tabs::blanked, out);
    return InfoType::diagnosed;
}

InfoType policyState(const LSPinfo_t& info) {
    if (info.isLoading) return InfoType::loading;
    return info.message.empty() && info.bareMessage ? InfoType::inForce : InfoType::diagnosed;
}

} // namespace panelkit
