// SPDX-License-Identifier: MIT
#include "time_zone.h"

#include <cstdlib>
#include <ctime>

ScopedTimeZone::ScopedTimeZone(const std::string& zone) {
    if (const char* before = getenv("TZ")) before_ = before;
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

ScopedTimeZone::~ScopedTimeZone() {
    before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ");
    tzset();
}
