// SPDX-License-Identifier: MIT
#include <service/event_log_win.h>

#include <service/base/log.h>
#include <service/service_name_win.h>

#include <platform/text/utf16.h>

#include <windows.h>

#include <panelkitd_events.h> // made from events.mc
#include <string>
#include <string_view>

namespace panelkitd {

namespace {

struct Event {
    WORD type;
    DWORD id;
};

Event eventOf(char priority) {
    if (priority <= '3') return {EVENTLOG_ERROR_TYPE, PANELKITD_ERROR};
    return {EVENTLOG_INFORMATION_TYPE, PANELKITD_EVENT};
}

// One line, which begins with its priority: "<5>text".
void report(HANDLE log, std::string_view line) {
    constexpr std::size_t prefix = 3;
    if (line.size() < prefix) return;
    const auto [type, id] = eventOf(line[1]);
    const std::wstring text = platform::toUtf16(line.substr(prefix));
    const wchar_t* strings = text.c_str();
    ReportEventW(log, type, 0, id, nullptr, 1, 0, &strings, nullptr);
}

void write(std::string_view lines) {
    static HANDLE const log = RegisterEventSourceW(nullptr, serviceName); // open until the process ends
    while (log && !lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        report(log, lines.substr(0, end));
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
}

} // namespace

void logToEventLog() { setLogWriter(write); }

} // namespace panelkitd
