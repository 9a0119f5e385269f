#pragma once

#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "cbl/file/read.h"
#include "hmi/config.h"
#include "support/poll.h"
#include "support/temp_dir.h"

namespace support {

/// One "Symbol" of a project file.
inline std::string symbolXml(int regId, const std::string& name, const std::string& dataType, int propId = 85) {
  return "<Symbol><Name>" + name + "</Name><RegId>" + std::to_string(regId) +
         "</RegId><ObjectType>2</ObjectType><Instance>" + std::to_string(regId) + "</Instance><PropID>" +
         std::to_string(propId) + "</PropID><DataType>" + dataType +
         "</DataType><BitNum>0</BitNum><PriorityReset>0</PriorityReset></Symbol>";
}

/// Puts a helper, the simulator by default, into a directory that ends with a separator, under the name that the driver
/// starts.
const std::string kSimulator = BIN_DIR "/simulator/BACnet_Velix";
inline void installHelper(const std::string& directory, const std::string& program = kSimulator) {
  const auto overwrite = std::filesystem::copy_options::overwrite_existing;
  const std::string helper = directory + "BACnet_Velix";
  const std::string emulator = EMULATOR;
  if (emulator.empty()) {
    std::filesystem::copy_file(program, helper, overwrite);
    return;
  }
  // A foreign program cannot be executed as it is: a script in its place starts the emulator with it.
  std::filesystem::copy_file(program, helper + ".emulated", overwrite);
  std::ofstream(helper) << "#!/bin/sh\nexec " << emulator << ' ' << helper << ".emulated \"$@\"\n";
  std::filesystem::permissions(helper, std::filesystem::perms::owner_all);
}

/// A project directory with a helper in it, on a link number that no other test or panel uses. Ends the
/// helper that was started from it, and removes the link's files.
class HelperProject {
 public:
  explicit HelperProject(const std::string& helper = kSimulator) : link(nextLink()) {
    std::setvbuf(stdout, nullptr, _IONBF,
                 0);                       // a forked child that ends under the thread sanitizer writes its copy out
    setenv("BACNET_VELIX_TRACE", "1", 0);  // for `calls`; the driver hands its environment on
    installHelper(dir.project(), helper);
  }
  ~HelperProject() {
    killHelper();
    for (const char* ending : {".sock", ".pid", ".log", ".log.old"}) std::filesystem::remove(linkFile(ending));
  }

  /// Writes a project file of one link with the given points; multiple access is allowed as told.
  void writeProject(const std::string& symbols, bool multiRead = true, bool multiWrite = true) const {
    const std::string number = "\"" + std::to_string(link) + "\"";
    dir.write("BACnetLabel.xml",
              "<?xml version=\"1.0\"?><ProjectInfo><BACnet LinkID=" + number + "><Ip>127.0.0.1</Ip><EnableReadPropm>" +
                  (multiRead ? "1" : "0") + "</EnableReadPropm><EnableWritePropm>" + (multiWrite ? "1" : "0") +
                  "</EnableWritePropm></BACnet><Symbols LinkID=" + number + ">" + symbols + "</Symbols></ProjectInfo>");
  }

  driver::CConfig config(const std::string& interfaceName = "lo") const {
    driver::CConfig config;
    config.setConnectNum(link);
    config.setConfigFilePath(dir.project());
    config.setCommuConfig({interfaceName});
    return config;
  }

  std::string linkFile(const std::string& ending) const {
    return "/tmp/velix_bacnet/link_" + std::to_string(link) + ending;
  }

  /// The running helper's process id; 0 when there is none that was started from this project.
  pid_t helperPid() const {
    std::int32_t pid = 0;
    if (cbl::readIntFromFile(linkFile(".pid").c_str(), pid, 10) != 0 || pid <= 0) return 0;
    const std::string commandLine = readFile("/proc/" + std::to_string(pid) + "/cmdline");
    if (commandLine.find(dir.project()) == std::string::npos) return 0;
    return named_ = pid;
  }

  /// Sends the running helper a signal; false, and none is sent, when there is none that was started from this project.
  bool signalHelper(int signal) const {
    const pid_t pid = helperPid();
    return pid > 0 && kill(pid, signal) == 0;
  }

  /// SIGKILL; returns when the process has ended, be it that nobody has taken note of it yet.
  void killHelper() const {
    if (signalHelper(SIGKILL)) awaitEnd();
  }

  /// Returns when the process that `helperPid` named last has ended: before that its socket may still accept.
  void awaitEnd() const {
    const std::string stat = "/proc/" + std::to_string(named_) + "/stat";
    waitUntil([&] { return kill(named_, 0) != 0 || readFile(stat).find(") Z ") != std::string::npos; });
  }

  /// How often the helper has logged a call of this remote function.
  std::size_t calls(const std::string& function) const {
    const std::string log = readFile(linkFile(".log"));
    const std::regex call("\\b" + function + "\\b");
    return static_cast<std::size_t>(std::distance(std::sregex_iterator(log.begin(), log.end(), call), {}));
  }

  const TempDir dir;
  const std::int32_t link;

 private:
  mutable pid_t named_ = 0;

  static std::int32_t nextLink() {
    static std::int32_t used = 0;
    return 1000000 + static_cast<std::int32_t>(getpid()) * 64 + used++;
  }
};

}  // namespace support
