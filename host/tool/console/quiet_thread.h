#pragma once

#include <functional>
#include <thread>

namespace tool {

/// A thread that no signal is delivered to: they are for the main thread, whose waits they end.
std::thread startWithoutSignals(std::function<void()> work);

}  // namespace tool
