#include "cbl/bus/tcp_client_unix.h"

namespace cbl {

CTcpClientUnix::~CTcpClientUnix() = default;

}  // namespace cbl
