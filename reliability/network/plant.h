#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "reliability/network/truth.h"
#include "reliability/network/wire.h"
#include "support/device_program.h"
#include "support/helper_project.h"
#include "support/prepared_driver.h"

namespace reliability {

/// How a link is set up and used.
struct LinkKind {
  const char* name;
  const char* elements;  ///< of the project file, besides address and number
  int points;
  bool readsSingly;
  milliseconds oldest;  ///< a value may be, as docs/bacnet.md says
};

/// What the host's thread of a link has seen.
struct Figures {
  std::uint64_t values = 0;
  std::uint64_t wrong = 0;
  std::string firstWrong;
  std::map<std::int32_t, std::uint64_t> codes;  ///< of the calls that were not answered with 0
  milliseconds longest{0};
  milliseconds oldest{0};
  Clock::time_point lastFailure{};
};

/// One network for a panel and one for its devices, with a wire between them. Devices live at 192.0.2.11 and on.
class CPlant {
 public:
  explicit CPlant(unsigned seed);

  static std::string addressText(int place) { return "192.0.2." + std::to_string(10 + place); }
  static std::uint32_t address(int place) { return 0xC000020AU + static_cast<std::uint32_t>(place); }

  void inField(const std::function<void()>& act) const { inField_(act); }
  CWire& wire() { return *wire_; }

 private:
  std::function<void(const std::function<void()>&)> inField_;
  std::unique_ptr<CWire> wire_;
};

/// A device of the plant, a link to it, and a host's thread that uses the link: reads all of its points in turn, and
/// once a second writes the last one and reads it back.
class CLink {
 public:
  struct Options {
    int number;  ///< 1 to 62; the place of its device as well
    LinkKind kind;
    bool isTarget;       ///< of the faults
    bool keepsOrder;     ///< as CTruth's
    milliseconds pause;  ///< between the host's calls
    std::string helper;  ///< program
  };

  CLink(CPlant& plant, const Options& options);
  ~CLink();
  CLink(const CLink&) = delete;
  CLink& operator=(const CLink&) = delete;

  void startDevice() { startDevice(options_.number); }
  void startDevice(int place);
  /// Another device, with objects and values of its own, in the place of this one.
  void startStranger(std::uint32_t deviceId);
  void endDevice() { device_.reset(); }
  void signalDevice(int signal) const { device_->signal(signal); }

  void startHost();
  void endHost();
  /// Every point has been read.
  bool isUp() const { return isUp_; }

  /// As far as it is known now; from any thread.
  Figures figures() const;
  const Options& options() const { return options_; }
  const support::HelperProject& project() const { return project_; }

 private:
  void writeProject(const std::string& elements);
  std::string symbols(int link, int firstInstance) const;
  void use();
  void scan();
  void write();
  template <typename Call>
  std::int32_t timed(Call call);
  void take(int point, const support::Words& words);
  void pause() const { std::this_thread::sleep_for(options_.pause); }

  CPlant& plant_;
  const Options options_;
  support::HelperProject project_;
  std::unique_ptr<support::LoadedDriver> driver_;
  std::vector<CRegister> registers_;
  CTruth truth_;
  std::unique_ptr<support::DeviceProgram> device_;
  mutable std::mutex mutex_;
  Figures figures_;
  Clock::time_point asked_;
  Clock::time_point answered_;
  std::atomic<bool> isUp_{false};
  std::atomic<bool> isOver_{false};
  std::thread host_;
};

}  // namespace reliability
