#pragma once

#include <rttr/variant.h>

#include <string>
#include <vector>

#include "hmi/driver.h"
#include "tests/support/temp_dir.h"

namespace bench {

/// The plug-in as a runtime loads it, connected to a helper of its own that it has started itself, with a project of
/// the REAL points 1 to 11. Uses a link number that no panel uses and removes the link's files. Everything throws
/// std::runtime_error on a failure.
class CDriverPeer {
 public:
  /// `helperFile` takes the helper's place in the project directory.
  explicit CDriverPeer(const std::string& helperFile);
  ~CDriverPeer();

  CDriverPeer(const CDriverPeer&) = delete;
  CDriverPeer& operator=(const CDriverPeer&) = delete;

  void read();
  void readBatch();

 private:
  std::string linkFile(const char* ending) const;
  void load();
  void prepare();

  const support::TempDir directory_;
  const int link_;
  void* plugin_ = nullptr;
  rttr::variant owner_;
  driver::CDriver* driver_ = nullptr;
  CRegister register_;
  std::vector<short> words_;
  driver::Batch batch_;
};

}  // namespace bench
