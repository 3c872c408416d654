// SPDX-License-Identifier: MIT
#include <service/manual.h>

#include <service/base/limits.h>

#include <CLI/CLI.hpp>

#include <array>
#include <string>
#include <string_view>

namespace panelkitd {

namespace {

// Escapes dashes. Other escapes are not needed: no text of ours begins a line with a dot or has a backslash.
std::string plain(std::string_view text) {
    std::string escaped;
    for (const char c : text) escaped += c == '-' ? "\\-" : std::string(1, c);
    return escaped;
}

// The placeholder of the value: its type, without the rules of what is valid.
std::string valueOf(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) return {};
    const std::string type = option.get_type_name();
    return " \\fI" + type.substr(0, type.find_first_of(": ")) + "\\fR";
}

// The default is shown only for times, where it is the same for every account.
std::string entry(const CLI::Option& option) {
    const bool isTime = option.get_type_name().starts_with("SECONDS");
    return ".TP\n\\fB" + plain(option.get_name(false, true)) + "\\fR" + valueOf(option) + "\n" +
           plain(option.get_description()) + (isTime ? "; " + option.get_default_str() + " by default" : "") + "\n";
}

constexpr const char* defaultsAndModules = R"(.SH DEFAULTS
Run by root or as a system service it serves the system's endpoint and keeps its state in the system's folder; run by
another account, it uses a socket and a folder of that account. \fBpanelkitd \-\-help\fR shows the defaults for the
account that runs it.
.SH ENVIRONMENT
.TP
\fBSOFTHSM2_CONF\fR
Set by the service for the embedded module, which keeps its tokens in the state folder.
.SH SERVICE MANAGER
The package has two units. systemd listens at the endpoint for \fBpanelkitd.socket\fR and passes the socket on, so front
ends that come while the service starts or restarts wait for it. The service says when it can be used (\fIType=notify\fR).
Without systemd it makes the socket itself.
.PP
On Windows an administrator registers it with \fB\-\-install\-service\fR, together with the options with which it is to run;
it then starts with the system, as the account "NT SERVICE\epanelkitd" that Windows makes for it alone. That account,
the system and the administrators alone can use the state folder. It logs to the event log "Application". A service that
fails is started again after 5 seconds, 30 seconds and then a minute; one that was asked to stop is not, even if it had
to be abandoned. Other options act on the installed service: \fB\-\-start\-service\fR, \fB\-\-stop\-service\fR,
\fB\-\-service\-status\fR and \fB\-\-uninstall\-service\fR, which keeps the state. Only \fB\-\-service\-status\fR is for everybody.
.SH ENGINE
With the engine \fBrecord\fR no traffic is filtered or protected. With \fBcharon\fR (Linux) the sections of the policy
that pass and drop become the nftables table \fBinet panelkit\fR, and those that protect become tunnels of an IKE daemon
that the service starts as its child. It needs the rights of the drop\-in unit
\fI/usr/share/panelkitd/engine\-charon.conf\fR. The policy in force takes effect at once; without a console on the host,
see what it is (\fBpanelctl policy status\fR) before the engine is chosen.
.PP
The table stays when the service ends, in whatever way. To get out when you are locked out, on the console of the host:
\fBsystemctl stop panelkitd\fR, then \fBpanelkitd \-\-release\-filter\fR. The file \fIengine.md\fR of the package
panelkit\-doc says what passes and what is dropped, what the daemon needs, and what \fB\-\-charon\-socket\fR changes.
.SH PKCS#11 MODULES
Each module runs in a process of its own, which the service starts as \fBpanelkitd \-\-host\-module\fR. It has no
capabilities and no other files than the channel to the service. A module that crashes, or whose function takes longer
than \fB\-\-module\-timeout\fR (\fB\-\-making\-timeout\fR for making a key or erasing a token), loses its process: its tokens are
logged out, commands to them are refused, lists name them as not read, and the journal says what happened. It is started
again after a second, and after up to a minute when that fails again. All other tokens stay in use.
.PP
A token is logged in to by one account, which has to log out, or an administrator for it, before another one can log in.
With \fB\-\-pin\-file\fR the service logs in by itself: when it starts, when the token is inserted, and when its
module was started again, but not after a log-out. The file must belong to root or to the service's account, nobody else
may read or write it or the folders above it, and a line feed at its end is not part of the PIN. A wrong PIN is tried
once, until the service is started again.
.SH STATE FILES
The policy, the list of providers and the configuration are in the state folder as \fBpolicy.json\fR,
\fBproviders.json\fR and \fBconfiguration.json\fR, which the service replaces as a whole. Beside each is its last good
copy, for example \fBpolicy.last\-good.json\fR, which is replaced together with it.
.PP
A file that can't be used is never overwritten: one that is damaged, too large, made by a newer version or without
permission, and a link, a folder, a pipe or a device with its name. The service starts with the last good copy. Without
one it starts with defaults; for the policy, this is the driver policy that drops everything but DHCP. Changes of what
the file holds are refused. The journal and \fBpanelctl doctor\fR name the file. An administrator then stops the
service, does one of the following, and starts it again:
.IP \(bu 2
Repair the file.
.IP \(bu 2
Remove the file. The last good copy is used from then on, and changes are taken again.
.IP \(bu 2
Remove the file and its copy. The service starts as after its installation, with a policy that passes everything.
.PP
The service also starts with the last good copy when the file is missing. If a file was edited while the service ran,
what it held is kept as \fBpolicy.json.kept\-1\fR and so on when the service writes the next change.
)";

constexpr const char* rest = R"(.SH EXIT STATUS
.TP
\fB0\fR
It was asked to end, and ended normally.
.TP
\fB1\fR
It can't serve; standard error says why.
.TP
\fB2\fR
The command line is wrong.
.TP
\fB3\fR
It was asked to end, and a command did not end within the grace and four seconds more. It was abandoned. Modules that
hang do not cause this: their processes are ended with the grace.
.SH SIGNALS
SIGTERM and SIGINT ask it to end: commands in progress are finished or refused. The files on disk are complete at any
moment, even after SIGKILL.
.SH SEE ALSO
\fBpanelctl\fR(1)
)";

struct LimitRow {
    const char* what;
    bridge::BudgetLimits limits;
    std::uint64_t unit = 1;
};

constexpr std::array limitRows{
    LimitRow{"connections", limits::connections},
    LimitRow{"connections that receive notifications", limits::receivers},
    LimitRow{"MiB of requests that arrive and of replies that leave", limits::transfers, limits::mebibyte},
    LimitRow{"MiB of memory for the requests of commands in progress", limits::requests, limits::mebibyte},
    LimitRow{"MiB of files that were sent for import", limits::importFiles, limits::mebibyte},
    LimitRow{"MiB of policies and settings that are stored",
             {.all = limits::storedOfAllAccounts, .account = limits::storedOfAccount},
             limits::mebibyte},
};

std::string limitsText() {
    std::string text =
        ".SH LIMITS\n"
        "An account that asks for more is refused until it has given something back. What is reserved is\n"
        "for administrators alone, so others can't lock them out.\n";
    for (const auto& [what, limits, unit] : limitRows) {
        text += ".TP\n\\fB" + std::to_string(limits.account / unit) + "\\fR " + what + "\nof " +
                std::to_string(limits.all / unit) + " for all accounts together";
        text += limits.reserve > 0 ? ", " + std::to_string(limits.reserve / unit) + " of them reserved\n" : "\n";
    }
    return text + ".PP\nA request that carries no file has at most " +
           std::to_string(limits::largestPlainRequest / limits::mebibyte) +
           " MiB. Of the commands of an account that\n" + "were refused or failed, " +
           std::to_string(limits::unsuccessfulLines) +
           " are logged in a minute and the others counted; what was done is\nalways logged. " +
           "The unit file's limits (LimitNOFILE, TasksMax, MemoryMax) have room for all of this.\n";
}

} // namespace

std::string manual(const CLI::App& program) {
    std::string text = ".\\\" Made by panelkitd \\-\\-manual; do not edit.\n"
                       ".TH PANELKITD 8 \"\" \"panelkit\" \"System Administration\"\n"
                       ".SH NAME\npanelkitd \\- the reference service of panelkit\n"
                       ".SH SYNOPSIS\n\\fBpanelkitd\\fR [\\fIOPTIONS\\fR]\n"
                       ".SH DESCRIPTION\n";
    text += plain(program.get_description()) + "\n.SH OPTIONS\n";
    for (const CLI::Option* option : program.get_options()) {
        if (!option->get_group().empty()) text += entry(*option);
    }
    return text + defaultsAndModules + limitsText() + rest;
}

} // namespace panelkitd
