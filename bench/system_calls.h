#pragma once

namespace bench {

enum class Side { kDriver, kHelper };

/// System calls of one side for one single read through the plug-in, counted with strace on this very program: a long
/// run of reads less a short one. The driver's against the lean responder, the helper's its own. Throws
/// std::runtime_error when a run fails.
double systemCallsPerRead(Side side);

/// What those runs do: `count` reads.
void readOnly(Side side, int count);

/// The option that makes this program do so, and no more.
const char* readsOption(Side side);

}  // namespace bench
