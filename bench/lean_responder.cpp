// Stands in for the helper where the driver alone is to be measured: every reply is made beforehand, and a request is
// looked at only as far as it takes to choose one. Started like the helper, with the link number as first argument.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bench/exchange.h"
#include "cbl/bus/frame_layout.h"
#include "cbl/net/descriptor.h"
#include "cbl/net/wait.h"
#include "helper/process/runtime_files.h"

namespace {

using cbl::frame::kBodyAt;
constexpr std::string_view kSingleRead = "*3\r\n$13\r\n";
constexpr std::string_view kBatchRead = "*24\r\n$19\r\n";

// Until the client leaves. A request fits one read: the driver sends no larger ones here. It is waited for with poll,
// as servers do: who sleeps in read is woken once more whenever the client takes a reply off the socket.
void serve(int socket) {
  const std::string single = bench::readReplyFrame(1);
  const std::string batch = bench::readReplyFrame(bench::kBatchSize);
  const std::string done = bench::doneReplyFrame();
  char request[4096];
  while (cbl::waitFor(socket, cbl::WaitFor::kReadable, -1) > 0) {
    const ssize_t count = read(socket, request, sizeof(request));
    if (count <= static_cast<ssize_t>(kBodyAt)) return;
    const std::string_view body(request + kBodyAt, static_cast<std::size_t>(count) - kBodyAt);
    const auto startsWith = [body](std::string_view head) { return body.substr(0, head.size()) == head; };
    const std::string& reply = startsWith(kSingleRead) ? single : startsWith(kBatchRead) ? batch : done;
    if (write(socket, reply.data(), reply.size()) != static_cast<ssize_t>(reply.size())) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  helper::CRuntimeFiles files(argc > 1 ? std::atoi(argv[1]) : 0);
  std::string error;
  if (!files.claim(error)) {
    std::fprintf(stderr, "lean_responder: %s\n", error.c_str());
    return 1;
  }
  while (cbl::waitFor(files.listener(), cbl::WaitFor::kReadable, -1) > 0) {
    const cbl::CDescriptor client(accept4(files.listener(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client.number() >= 0) serve(client.number());
  }
  return 1;
}
