#pragma once

#include "cbl/bus/tcp_client_base.h"

namespace cbl {

/// The stream client as the bus uses it: always on a Unix-domain path.
class CTcpClientUnix : public CTcpClientBase {
 public:
  ~CTcpClientUnix() override;
};

}  // namespace cbl
