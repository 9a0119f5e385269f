#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cbl/net/descriptor.h"
#include "io/address.h"

namespace helper {

/// The right to talk to a peer from a shared port. Two sockets of one port that are connected to one peer would take
/// each other's datagrams, so the second process has to use another port. Held until destroyed; the process's end frees
/// it, the empty file stays.
class CPortLock {
 public:
  /// Nothing while another process or link holds it, or where the file in `directory` cannot be used. Never waits.
  static std::unique_ptr<CPortLock> take(const std::string& directory, std::uint16_t port, const io::Address& peer);

 private:
  explicit CPortLock(int file) : file_(file) {}

  cbl::CDescriptor file_;
};

}  // namespace helper
