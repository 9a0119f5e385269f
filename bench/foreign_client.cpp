#include "bench/foreign_client.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

#include "bench/device_peer.h"
#include "cbl/net/descriptor.h"

namespace bench {

CForeignClient::CForeignClient(const std::string& stacks, const std::string& device) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair");
  const cbl::CDescriptor far(ends[1]);
  requests_.reset(fdopen(ends[0], "w"));
  answers_.reset(fdopen(dup(ends[0]), "r"));
  const std::string ownAddress = nextLoopbackAddress();
  program_ = std::make_unique<CChildProcess>([&] {
    dup2(far.number(), STDIN_FILENO);
    dup2(far.number(), STDOUT_FILENO);
    setenv("NODE_PATH", (stacks + "/node_modules").c_str(), 1);
    execlp("node", "node", FOREIGN_CLIENT_FILE, device.c_str(), ownAddress.c_str(), nullptr);
  });
  if (line() != "ready") throw std::runtime_error("node-bacnet does not start");
}

double CForeignClient::read(int calls, int points) {
  fmt::print(requests_.get(), "{} {}\n", calls, points);
  std::fflush(requests_.get());
  return std::atof(line().c_str()) / calls;
}

std::string CForeignClient::line() {
  std::array<char, 64> text{};
  if (std::fgets(text.data(), text.size(), answers_.get()) == nullptr) {
    throw std::runtime_error("node-bacnet has ended");
  }
  const std::string read = text.data();
  return read.substr(0, read.find('\n'));
}

}  // namespace bench
