// SPDX-License-Identifier: MIT
//
// There is no packet filter to watch.
#include <service/engine/filter_watch.h>

#include <utility>

namespace panelkitd {

FilterWatch::FilterWatch(std::function<void()> removed) : removed_(std::move(removed)) {}
FilterWatch::~FilterWatch() = default;

} // namespace panelkitd
