// SPDX-License-Identifier: MIT
//
// The process's time zone for as long as an object lives. No other thread may use times meanwhile.
#pragma once

#include <optional>
#include <string>

class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const std::string& zone); // a value for TZ
    ~ScopedTimeZone();
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    std::optional<std::string> before_;
};
