// SPDX-License-Identifier: MIT
//
// The tunnels as `panelctl watch` has told of them, to find out which have changed while it was not connected.
#pragma once

#include <panelctl/watch/watch_events.h>

#include <vector>

namespace panelctl {

// The tunnels of the service as they are now; nothing if they can't be read.
WatchedTunnels readTunnels();

// A notification has told of a tunnel. `now` is what was read after it: the tunnel may have changed again, which is
// going to be told.
void takeOver(WatchedTunnels& known, bool up, const vocabulary::TunnelNotice& notice, const WatchedTunnels& now);

// What has changed between the two.
std::vector<WatchEvent> differences(const WatchedTunnels& before, const WatchedTunnels& now);

} // namespace panelctl
