#pragma once

#include <optional>

#include "bacnet/client/request.h"

namespace bacnet {

struct Failure;

/// Something that takes one request or more, made when their turn has come.
class CWork {
 public:
  virtual ~CWork() = default;

  /// The next request, nothing if there is none just now.
  virtual std::optional<Request> next() = 0;
  /// Whether there will be another one.
  virtual bool hasMore() const = 0;
  /// The device is not to be asked: nothing of it will be sent.
  virtual void fail(const Failure& failure) = 0;

  bool isQueued = false;  ///< the queue's
};

}  // namespace bacnet
