#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <list>
#include <thread>

#include "cbl/file/directory.h"
#include "cbl/file/read.h"
#include "cbl/log/log_line.h"
#include "cbl/process/launch_detached.h"
#include "driver/bacnet_link.h"

namespace driver {

namespace {

constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";
constexpr const char* kServerName = "BACnet_Velix";
constexpr const char* kFallbackDirectory = "Devlib";

constexpr std::int32_t kQuickCheckMs = 200;
constexpr std::int32_t kStartConnectMs = 100;
constexpr int kStartAttempts = 30;
// Slept for their whole time, also when the host's signals come in between: a start that is given up early is repeated
// by the next connect, and helpers pile up.
constexpr std::chrono::milliseconds kStartPause{100};
constexpr std::chrono::milliseconds kKillPause{50};

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

bool isReachable(velix::CVelixClient& client, const std::string& socketPath, std::int32_t timeoutMs) {
  return exists(socketPath) && client.connect(timeoutMs) == 0;
}

// Whatever live process the pid file names is killed; that it is the helper is taken on trust.
void killHangingServer(const std::string& pidPath) {
  std::int32_t pid = 0;
  if (cbl::readIntFromFile(pidPath.c_str(), pid, 10) != 0 || pid <= 0 || kill(pid, 0) != 0) return;
  cbl::logLine(cbl::kErrorTag, "Kill hanging process %d", pid);
  kill(pid, SIGKILL);
  std::this_thread::sleep_for(kKillPause);
}

void launchServer(const std::string& serverPath, const std::string& arguments) {
  const std::string commandLine = serverPath + arguments;
  cbl::logLine(cbl::kLogicTag, "Starting Velix server: %s", commandLine.c_str());
  cbl::launchDetached(commandLine);  // whether it worked shows when the socket is waited for
}

// Result: the first file of the server's name below `directory`; empty when there is none.
std::string findServerBelow(const std::string& directory) {
  std::list<std::string> files;
  if (cbl::listAllFiles(directory, files, {}) != 0) return "";
  for (const std::string& file : files) {
    const std::size_t slash = file.rfind('/');
    if (slash != std::string::npos && file.compare(slash + 1, std::string::npos, kServerName) == 0) return file;
  }
  return "";
}

}  // namespace

std::int32_t CBACnetLink::startLink(std::int32_t linkNumber, const std::string& directory) {
  linkId = linkNumber;
  configPath = directory;
  return ensureServer() ? 0 : -1;
}

bool CBACnetLink::ensureServer() {
  if (linkId < 0) return false;
  if (!exists(kRuntimeDirectory)) mkdir(kRuntimeDirectory, 0755);

  const std::string number = std::to_string(linkId);
  const std::string filesPath = std::string(kRuntimeDirectory) + "/link_" + number;
  const std::string socketPath = filesPath + ".sock";
  const std::string pidPath = filesPath + ".pid";
  client.setSocketPath(socketPath);
  if (isReachable(client, socketPath, kQuickCheckMs)) return true;

  cbl::logLine(cbl::kLogicTag, "Velix service needs restart (LinkID: %d)", linkId);
  killHangingServer(pidPath);
  unlink(socketPath.c_str());
  unlink(pidPath.c_str());

  // The first start is tried before the file is looked for, in vain when it is missing.
  const std::string serverPath = configPath + kServerName;
  const std::string arguments = " " + number + " -f";
  launchServer(serverPath, arguments);
  if (!exists(serverPath)) {
    const std::string found = findServerBelow(configPath + kFallbackDirectory);
    if (!found.empty()) launchServer(found, arguments);
  }

  for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
    if (isReachable(client, socketPath, kStartConnectMs)) return true;
    std::this_thread::sleep_for(kStartPause);
  }
  return false;
}

}  // namespace driver
