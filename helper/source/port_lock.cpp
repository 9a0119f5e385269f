#include "helper/source/port_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

namespace helper {

std::unique_ptr<CPortLock> CPortLock::take(const std::string& directory, std::uint16_t port, const io::Address& peer) {
  const std::string path = fmt::format("{}/port_{}_{}_{}.lock", directory, port, io::ipText(peer.ip), peer.port);
  constexpr mode_t kOwnerOnly = 0600;
  std::unique_ptr<CPortLock> lock(
      new CPortLock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly)));
  if (lock->file_.number() < 0 || ::flock(lock->file_.number(), LOCK_EX | LOCK_NB) != 0) return nullptr;
  return lock;
}

}  // namespace helper
