// SPDX-License-Identifier: MIT
#include <bench/attack/attack.h>

#include <tests/support/processes_posix.h>

#include <platform/bridge/frame.h>

#include <cstdlib>
#include <iostream>

namespace attack {

namespace {

namespace fs = std::filesystem;

std::size_t entriesOf(const fs::path& folder) {
    std::error_code none;
    const fs::directory_iterator all(folder, none);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

} // namespace

int times(int usual) {
    const char* const percent = std::getenv("PANELKIT_ATTACK_PERCENT");
    return percent ? std::max(1, usual * std::atoi(percent) / 100) : usual;
}

void report(const std::string& what, const std::string& figure) {
    std::cout << "figure: " << what << ": " << figure << std::endl;
}

void report(const std::string& what, double figure) {
    std::string text = std::to_string(figure);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    report(what, text);
}

void reportChecked(const std::string& what) {
    if (!testing::Test::HasFailure()) report("checked", what);
}

Usage usageOf(RunningService& service) {
    const std::int64_t id = service.process().id();
    const fs::path process = folderOf(id);
    return {entriesOf(process / "task"), entriesOf(process / "fd"), hostsOf(id).size(), memoryOf(id, "VmRSS"),
            memoryOf(id, "VmHWM")};
}

void expectUsage(RunningService& service, const Usage& before, std::uint64_t moreBytes) {
    Usage now;
    const auto isBack = [&] {
        now = usageOf(service);
        return now.threads <= before.threads && now.descriptors <= before.descriptors &&
               now.processes <= before.processes;
    };
    for (int look = 0; look < 300 && !isBack(); ++look) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_LE(now.threads, before.threads);
    EXPECT_LE(now.descriptors, before.descriptors);
    EXPECT_LE(now.processes, before.processes);
    report("threads, before and after", std::to_string(before.threads) + ", " + std::to_string(now.threads));
    report("descriptors, before and after",
           std::to_string(before.descriptors) + ", " + std::to_string(now.descriptors));
    report("resident KiB, before and after",
           std::to_string(before.residentBytes >> 10) + ", " + std::to_string(now.residentBytes >> 10));
    report("highest resident KiB", std::to_string(now.mostResidentBytes >> 10));
#ifndef PANELKIT_ATTACK_SANITIZED
    EXPECT_LE(now.residentBytes, before.residentBytes + moreBytes);
#else
    static_cast<void>(moreBytes);
#endif
}

std::string frame(std::uint32_t kind, std::uint32_t module, std::uint32_t command, std::string_view body) {
    const auto header = bridge::encodeFrameHeader(
        {static_cast<std::uint32_t>(body.size()), static_cast<bridge::FrameKind>(kind), module, command, 1});
    return std::string(header.data(), header.size()).append(body);
}

std::string helloFrame(bridge::Role role) {
    return frame(static_cast<std::uint32_t>(bridge::FrameKind::hello), 0, 0,
                 encode(bridge::Hello{bridge::protocolVersion, role, "raw"}));
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double medianOf(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace attack
