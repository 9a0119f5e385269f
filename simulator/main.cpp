#include <memory>

#include "helper/run_helper.h"
#include "simulator/fault_handler.h"
#include "simulator/simulated_points.h"

int main(int argc, char** argv) {
  helper::HelperProgram program;
  program.summary =
      "Simulator of a BACnet/IP link's helper: a bus server with simulated points, for tests and training";
  program.versionSuffix = ", simulated points";
  program.greeting = ", simulated points";
  program.makeSource = [](helper::HelperEnvironment& environment) {
    return std::make_unique<simulator::CSimulatedPoints>(environment.loop);
  };
  program.decorate = [](helper::HelperEnvironment& environment, helper::CFrameHandler& inner) {
    return std::make_unique<simulator::CFaultHandler>(environment, inner);
  };
  return helper::runHelper(argc, argv, program);
}
