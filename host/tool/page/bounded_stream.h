#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>

namespace tool {

/// One connection of a viewer's. A request has to be there within 5 s and 32 KiB, and a viewer who takes nothing for
/// 10 s is gone: reading and writing then fail, as they do at once when the server ends.
class CBoundedStream : public httplib::Stream {
 public:
  /// Both descriptors outlive this object; `end` is readable once the server ends.
  CBoundedStream(int socket, int end);

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* data, std::size_t size) override;
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  bool waitFor(short events, TimePoint until) const;
  bool fill();

  int socket_;
  int end_;
  TimePoint readUntil_;
  std::size_t room_;  // octets that may still come
  std::array<char, 4096> buffer_{};
  std::size_t begin_ = 0;
  std::size_t count_ = 0;
};

}  // namespace tool
