#include "host/tool/network/port_holders.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "io/address.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

using Sockets = std::map<std::string, uid_t>;  // owner by inode

// Lines as "0: 00000000:BAC0 00000000:0000 07 00000000:00000000 00:00000000 00000000 1000 0 36842 2 ...".
void addSockets(const char* table, std::uint16_t port, Sockets& sockets) {
  std::ifstream file(table);
  std::string line;
  std::getline(file, line);  // the heading
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string skipped;
    std::string local;
    std::string inode;
    uid_t user = 0;
    fields >> skipped >> local;
    for (int i = 0; i < 5; ++i) fields >> skipped;
    fields >> user >> skipped >> inode;
    const std::size_t colon = local.rfind(':');
    if (fields && colon != std::string::npos && local.substr(colon + 1) == fmt::format("{:04X}", port))
      sockets[inode] = user;
  }
}

std::string nameOf(const fs::path& process) {
  std::string name;
  std::getline(std::ifstream(process / "comm"), name);
  return fmt::format("{} (process {})", name, process.filename().string());
}

// Takes those of `sockets` that the process has. Result: whether there were any.
bool takeOwn(const fs::path& process, Sockets& sockets) {
  bool hasAny = false;
  std::error_code failure;
  for (fs::directory_iterator each(process / "fd", failure), end; !failure && each != end; each.increment(failure)) {
    std::error_code gone;
    const std::string target = fs::read_symlink(each->path(), gone).string();
    if (target.rfind("socket:[", 0) == 0 && sockets.erase(target.substr(8, target.size() - 9)) > 0) hasAny = true;
  }
  return hasAny;
}

bool isProcess(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char each) { return each >= '0' && each <= '9'; });
}

}  // namespace

std::vector<std::string> holdersOf(std::uint16_t port) {
  Sockets sockets;
  for (const char* table : {"/proc/net/udp", "/proc/net/udp6"}) addSockets(table, port, sockets);
  std::vector<std::string> holders;
  std::error_code failure;
  for (fs::directory_iterator each("/proc", failure), end; !sockets.empty() && !failure && each != end;
       each.increment(failure)) {
    const std::string name = each->path().filename().string();
    if (isProcess(name) && takeOwn(each->path(), sockets) && name != std::to_string(getpid()))
      holders.push_back(nameOf(each->path()));
  }
  std::set<uid_t> users;
  for (const auto& [inode, user] : sockets) users.insert(user);
  for (const uid_t user : users) holders.push_back(fmt::format("a program of user {}", user));
  return holders;
}

// Lines as "192.168.10.21 0x1 0x2 02:42:ac:11:00:02 * eth0"; flag 2 of the third field: the address is known.
Neighbour neighbourAt(std::uint32_t ip) {
  constexpr unsigned kIsKnown = 2;
  std::ifstream file("/proc/net/arp");
  std::string line;
  std::getline(file, line);  // the heading
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string address;
    std::string type;
    unsigned flags = 0;
    std::string mac;
    fields >> address >> type >> std::hex >> flags >> mac;
    if (!fields || address != io::ipText(ip)) continue;
    if ((flags & kIsKnown) == 0) return {Neighbour::kMissing, ""};
    return {Neighbour::kPresent, mac};
  }
  return {};
}

}  // namespace tool
