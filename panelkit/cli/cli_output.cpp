// SPDX-License-Identifier: MIT
#include <panelkit/cli/cli_output.h>

#include <panelkit/cli/console_setup.h>

#include <platform/codepage/convi.h>
#include <platform/console/console.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr std::uint16_t neutralLanguage = 1024;
constexpr unsigned primaryLanguageBits = 0x3FF;
constexpr unsigned russian = 25;

constexpr int barWidth = 60;
constexpr const char* barFilled = "============================================================";
constexpr const char* barEmpty = "                                                            ";

// The formatted text; `formatted` is false when the runtime's formatter reports an error.
struct Formatted {
    std::string text;
    bool formatted = false;
};

PANELKIT_PRINTF(1, 0) Formatted formatText(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return {};
    Formatted result{std::string(static_cast<std::size_t>(length), '\0'), true};
    // One more than the size: the zero byte is written over the string's own.
    result.formatted = std::vsnprintf(result.text.data(), result.text.size() + 1, format, arguments) == length;
    return result;
}

// Prints up to the first zero byte.
int print(const char* text) { return std::max(std::printf("%s", text), 0); }

} // namespace

int cli_printf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Formatted formatted = formatText(format, arguments);
    va_end(arguments);
    if (!formatted.formatted) return 0;

    const convi converter(convi::utf8Page, panelkit::ConsoleSetup::get().consolePage());
    const std::size_t length = formatted.text.size() + 1; // the zero byte is converted with the text
    std::string converted(converter.get_outsize(formatted.text.c_str(), length), '\0');
    const std::size_t written =
        converter.convert_safe(formatted.text.c_str(), length, converted.data(), converted.size());
    return print(written != 0 ? converted.c_str() : formatted.text.c_str());
}

std::size_t cli_sprintf(std::string* output, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Formatted formatted = formatText(format, arguments);
    va_end(arguments);
    if (!formatted.formatted || formatted.text.empty()) return 0;

    const convi converter(convi::utf8Page, panelkit::ConsoleSetup::get().consolePage());
    const std::size_t size = converter.get_outsize(formatted.text.data(), formatted.text.size());
    if (size == 0) return 0;
    output->resize(size);
    return converter.convert_safe(formatted.text.data(), formatted.text.size(), output->data(), output->size());
}

void cli_print_progress(double fraction) {
    const int filled = static_cast<int>(fraction * barWidth);
    const int percent = static_cast<int>(fraction * 100);
    // The caller keeps the fraction in bounds; if it does not, the precisions still bound the reads.
    std::printf("\r%3d%% [%.*s%.*s]", percent, filled, barFilled, barWidth - filled, barEmpty);
    std::fflush(stdout);
}

const char* cli_get_console_lang() {
    platform::Console& console = platform::console();
    unsigned language = console.interfaceLanguage();
    if (language == neutralLanguage) language = console.defaultLanguage();
    return (language & primaryLanguageBits) == russian ? "rus" : "eng";
}
