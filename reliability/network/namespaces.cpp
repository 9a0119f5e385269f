#include "reliability/network/namespaces.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace reliability {

namespace {

constexpr const char* kOwnNetwork = "/proc/thread-self/ns/net";

std::string failure(const char* step) {
  return std::string(step) + ": " + std::strerror(errno);
}

}  // namespace

std::string leaveMachine() {
  const uid_t user = ::getuid();
  const gid_t group = ::getgid();
  const int apart = CLONE_NEWNET | CLONE_NEWNS | CLONE_NEWPID;
  if (::unshare(user == 0 ? apart : apart | CLONE_NEWUSER) != 0) return failure("no namespaces are to be had here");
  if (user == 0) return {};
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  return {};
}

std::string settleIn(const std::string& directory) {
  ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);  // fails where the root is no mount: private then
  if (::mount("proc", "/proc", "proc", 0, nullptr) != 0) return failure("mount of /proc");
  if (::mount("tmpfs", directory.c_str(), "tmpfs", 0, nullptr) != 0) return failure("mount of a directory");
  return {};
}

int makeNetwork() {
  const int before = ::open(kOwnNetwork, O_RDONLY | O_CLOEXEC);
  if (before < 0 || ::unshare(CLONE_NEWNET) != 0) return -1;
  const int made = ::open(kOwnNetwork, O_RDONLY | O_CLOEXEC);
  const bool isBack = ::setns(before, CLONE_NEWNET) == 0;
  ::close(before);
  return isBack ? made : -1;
}

void inNetwork(int network, const std::function<void()>& act) {
  const int before = ::open(kOwnNetwork, O_RDONLY | O_CLOEXEC);
  if (before < 0 || ::setns(network, CLONE_NEWNET) != 0) throw std::runtime_error(failure("setns"));
  act();
  if (::setns(before, CLONE_NEWNET) != 0) throw std::runtime_error(failure("setns"));
  ::close(before);
}

std::string networkPath(int network) {
  return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(network);
}

int openFrames(const std::string& interface) {
  const int frames = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_ALL));
  sockaddr_ll end{};
  end.sll_family = AF_PACKET;
  end.sll_protocol = htons(ETH_P_ALL);
  end.sll_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
  const int on = 1;
  const int room = 4 << 20;
  ::setsockopt(frames, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof(room));
  const bool isOpen = ::setsockopt(frames, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof(on)) == 0 &&
                      ::bind(frames, reinterpret_cast<const sockaddr*>(&end), sizeof(end)) == 0;
  return isOpen ? frames : -1;
}

void shell(const std::string& line) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    ::_exit(127);
  }
  int status = -1;
  if (::waitpid(child, &status, 0) != child || status != 0) throw std::runtime_error("failed: " + line);
}

}  // namespace reliability
