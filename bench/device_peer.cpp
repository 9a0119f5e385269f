#include "bench/device_peer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/project_load.h"
#include "tests/support/poll.h"

namespace bench {

namespace {

constexpr int kPoints = 1000;
constexpr int kLink = 1;
constexpr const char* kDeviceId = "4711";

}  // namespace

std::string nextLoopbackAddress() {
  static int used = 0;
  const int process = getpid();
  return fmt::format("127.{}.{}.{}", 100 + process / 250 % 100, process % 250, ++used);
}

CDevicePeer::CDevicePeer(const std::string& behaviour) : address_(nextLoopbackAddress()) {
  const std::string project = directory_.file("BACnetLabel.xml");
  writeProject(project, kLink, kPoints);
  const std::string file = directory_.write("behaviour.json", behaviour);
  const std::string out = directory_.write("out", "");
  program_ = std::make_unique<CChildProcess>([&] {
    if (dup2(open(out.c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO) < 0) return;
    execl(DEVICE_FILE, "bacnet-device", "--project", project.c_str(), "--address", address_.c_str(), "--device-id",
          kDeviceId, "--broadcast", "127.255.255.255", "--behaviour", file.c_str(), "--still", nullptr);
  });
  const bool isReady = support::waitUntil([&] { return support::readFile(out).find('\n') != std::string::npos; });
  if (!isReady) throw std::runtime_error("bacnet-device does not start");
}

void CDevicePeer::pause(bool isPaused) const {
  if (kill(program_->pid(), isPaused ? SIGSTOP : SIGCONT) != 0) throw std::runtime_error("bacnet-device has ended");
}

}  // namespace bench
