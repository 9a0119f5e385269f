#pragma once

#include <memory>
#include <string>

#include "bench/child_process.h"
#include "cbl/net/descriptor.h"

namespace bench {

/// What the system itself takes for one exchange: a plain write and read at both ends of a pair of sockets.
class CPlainExchange {
 public:
  enum class Over { kUnixSocket, kLoopbackUdp };

  /// Lengths in bytes. Throws std::system_error.
  CPlainExchange(Over over, std::size_t requestLength, std::size_t replyLength);

  /// Throws std::runtime_error when an exchange is cut short.
  void exchange();

 private:
  std::string request_;
  std::string reply_;
  cbl::CDescriptor socket_;
  std::unique_ptr<CChildProcess> peer_;
};

}  // namespace bench
