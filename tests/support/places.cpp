// SPDX-License-Identifier: MIT
#include "places.h"

std::string sourceFile(const std::string& name) { return PANELKIT_SOURCE_DIR "/" + name; }

const char* localeFolder() { return PANELKIT_LOCALE_DIR; }
