// SPDX-License-Identifier: MIT
#include "time_zone.h"

#include <cstdlib>
#include <ctime>

ScopedTimeZone::ScopedTimeZone(const std::string& zone) {
    if (const char* before = getenv("TZ")) before_ = before;
    _putenv_s("TZ", zone.c_str());
    _tzset();
}

ScopedTimeZone::~ScopedTimeZone() {
    _putenv_s("TZ", before_.value_or("").c_str()); // an empty value removes it
    _tzset();
}
