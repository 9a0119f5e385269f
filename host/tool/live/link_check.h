#pragma once

#include "host/tool/live/checked_link.h"
#include "host/tool/options.h"

namespace tool {

/// Compares a link of the project with its device, from a UDP port of its own: the device's instance, what it takes of
/// batches and subscriptions, each point. Writes and subscribes nothing. Blocks for 3 s where the device does not
/// answer, and for as long as the answers take otherwise; Ctrl-C ends it with what is known by then. Throws CFailure
/// (usage) when the network interface is none.
CheckedLink checkLink(const Options& options, const plant::Link& link);

}  // namespace tool
