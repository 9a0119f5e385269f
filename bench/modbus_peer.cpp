#include "bench/modbus_peer.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>
#include <string>

#include "cbl/net/descriptor.h"

namespace bench {

namespace {

constexpr const char* kLoopback = "127.0.0.1";
constexpr int kRegisters = 2;

[[noreturn]] void fail(const std::string& step) {
  throw std::runtime_error("libmodbus: " + step + ": " + modbus_strerror(errno));
}

int portOf(int listener) {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  if (getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) fail("port");
  return ntohs(address.sin_port);
}

void serve(modbus_t* context, int listener) {
  modbus_mapping_t* registers = modbus_mapping_new(0, 0, kRegisters, 0);
  if (registers == nullptr || modbus_tcp_accept(context, &listener) < 0) return;
  std::uint8_t request[MODBUS_TCP_MAX_ADU_LENGTH];
  for (int length = 0; length >= 0;) {
    length = modbus_receive(context, request);
    if (length > 0) length = modbus_reply(context, request, length, registers);
  }
}

}  // namespace

CModbusPeer::CModbusPeer() {
  context_.reset(modbus_new_tcp(kLoopback, 0));
  cbl::CDescriptor listener(modbus_tcp_listen(context_.get(), 1));
  if (listener.number() < 0) fail("listen");
  server_ = std::make_unique<CChildProcess>([&] { serve(context_.get(), listener.number()); });

  context_.reset(modbus_new_tcp(kLoopback, portOf(listener.number())));
  if (modbus_connect(context_.get()) != 0) fail("connect");
}

CModbusPeer::~CModbusPeer() {
  modbus_close(context_.get());
}

void CModbusPeer::read() {
  std::uint16_t words[kRegisters];
  if (modbus_read_registers(context_.get(), 0, kRegisters, words) != kRegisters) fail("read");
}

}  // namespace bench
