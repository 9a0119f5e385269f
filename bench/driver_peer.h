#pragma once

#include <rttr/variant.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "bench/exchange.h"
#include "hmi/driver.h"
#include "tests/support/temp_dir.h"

namespace bench {

/// What a driver is to be connected to.
struct LinkSetup {
  std::string helperFile;            ///< takes the helper's place in the project directory
  int points = kBatchSize;           ///< REAL points of the project, from 1 on
  std::string device = "127.0.0.1";  ///< its address
  bool isSubscribed = false;         ///< values come by notifications
  bool isReadAhead = false;          ///< values that will be asked for next are read in advance
};

/// The plug-in as a runtime loads it, connected to a helper of its own that it has started itself. Uses a link number
/// that no panel uses and removes the link's files. Everything throws std::runtime_error on a failure.
class CDriverPeer {
 public:
  explicit CDriverPeer(const LinkSetup& setup);
  ~CDriverPeer();

  CDriverPeer(const CDriverPeer&) = delete;
  CDriverPeer& operator=(const CDriverPeer&) = delete;

  void read();
  void readBatch();  ///< the first points, as many as the driver admits
  void readAll();    ///< every point, in such batches

  pid_t helper() const;  ///< process id
  /// Seconds since just before `init`.
  double age() const;

 private:
  std::string linkFile(const char* ending) const;
  void load();
  void prepare(int points);
  void read(driver::Batch& batch);

  const support::TempDir directory_;
  const int link_;
  void* plugin_ = nullptr;
  rttr::variant owner_;
  driver::CDriver* driver_ = nullptr;
  CRegister register_;
  std::vector<short> words_;
  std::vector<driver::Batch> batches_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace bench
