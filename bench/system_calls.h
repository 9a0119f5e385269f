#pragma once

namespace bench {

/// System calls that one single read through the plug-in makes, counted with strace on this very program: a long run of
/// reads less a short one. Throws std::runtime_error when a run fails.
double systemCallsPerRead();

/// What those runs do: `count` reads against the lean responder.
void readOnly(int count);

}  // namespace bench
