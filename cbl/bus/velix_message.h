#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cbl/bus/bus_message.h"

namespace cbl {

/// A request or reply: an ordered list of byte strings, each of which may hold any bytes. Element 0 of a request names
/// the remote function. The body's grammar is written down in docs/bus-protocol.md.
class CVelixMessage : public CBusMessage, public std::vector<std::string> {
 public:
  /// Parses a body. On success the elements are replaced and the result is `length`; on failure they keep their values:
  ///   -1  null, empty, or not starting with '*'      -2  no readable element count (printed on standard output)
  ///   -3  an element does not start with '$'         -4  no readable element length
  ///   -5  an element runs past the end               -6  an element is not followed by CR LF
  ///   -7  bytes are left over after the last element
  std::int32_t load(const char* data, std::int32_t length) override;
  std::int32_t load(const std::string& data) override;

  /// Replaces `out` by the body. An empty message has an empty body.
  /// Result: the body's length in bytes; -1 when it would exceed 2^31-1.
  std::int32_t dump(std::string& out) const override;
};

}  // namespace cbl
