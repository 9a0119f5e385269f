#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "io/event_loop.h"

namespace support {

/// An event loop that a test runs until something holds, 10 s at most.
struct LoopFixture : testing::Test {
  void serveUntil(const std::function<bool()>& condition) {
    using namespace std::chrono_literals;
    const io::CTimer giveUp = loop.after(10s, [this] { loop.stop(1); });
    io::CTimer next;
    std::function<void()> look = [&] {
      if (condition()) return loop.stop(0);
      next = loop.after(1ms, look);
    };
    look();
    ASSERT_EQ(loop.run(), 0) << "timed out";
  }

  io::CEventLoop loop;
};

}  // namespace support
