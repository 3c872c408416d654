// SPDX-License-Identifier: MIT
//
// No engine for Windows has a packet filter, so there is nothing to watch.
#include <service/engine/filter_watch.h>

#include <utility>

namespace panelkitd {

FilterWatch::FilterWatch(std::function<void(bool changed)> look) : look_(std::move(look)) {}
FilterWatch::~FilterWatch() = default;

} // namespace panelkitd
