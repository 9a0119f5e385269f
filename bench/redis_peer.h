#pragma once

#include <hiredis/hiredis.h>

#include <memory>

#include "bench/child_process.h"
#include "tests/support/temp_dir.h"

namespace bench {

/// A redis-server of our own on a Unix-domain socket, without persistence, with `kRealWords` under the keys 1 to 11.
/// Everything throws std::runtime_error on a reply that is not the expected one.
class CRedisPeer {
 public:
  CRedisPeer();

  void get();
  void getBatch();

 private:
  const support::TempDir directory_;
  std::unique_ptr<CChildProcess> server_;
  std::unique_ptr<redisContext, decltype(&redisFree)> context_{nullptr, redisFree};
};

}  // namespace bench
