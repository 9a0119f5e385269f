#pragma once

#include <chrono>

namespace bacnet::server {

/// How a device repeats what is not answered; its Device object says the same.
constexpr std::chrono::milliseconds kApduTimeout(3000);
constexpr std::chrono::milliseconds kApduSegmentTimeout(2000);
constexpr int kApduRetries = 3;
constexpr int kApduTries = kApduRetries + 1;

}  // namespace bacnet::server
