#include "bench/project_load.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <pugixml.hpp>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "bench/child_process.h"
#include "cbl/net/descriptor.h"
#include "driver/bacnet_link.h"

namespace bench {

namespace {

constexpr std::size_t kValueBlockSize = 6800;

using Records = std::map<std::uint32_t, driver::SymbolRecord>;

// Runs `load` in a process of its own, as a driver loads its project once: what an earlier load has left of the heap
// would tell on the next one. `load` gives its points, and its logging on standard output goes nowhere.
template <typename Load>
double cpuSecondsInProcess(int points, Load load) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  const cbl::CDescriptor result(ends[0]);
  cbl::CDescriptor resultOfChild(ends[1]);
  const CChildProcess child([&] {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return;
    const std::clock_t start = std::clock();
    const auto loaded = load();
    const double taken = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    if (loaded->size() != static_cast<std::size_t>(points)) return;
    (void)!write(resultOfChild.number(), &taken, sizeof(taken));
  });
  resultOfChild.reset(-1);
  double taken = 0;
  if (read(result.number(), &taken, sizeof(taken)) != sizeof(taken)) {
    throw std::runtime_error("a project was not loaded whole");
  }
  return taken;
}

void readSymbols(const pugi::xml_node& symbols, Records& records) {
  for (const pugi::xml_node& symbol : symbols.children("Symbol")) {
    driver::SymbolRecord record;
    record.name = symbol.child("Name").text().as_string();
    record.regId = symbol.child("RegId").text().as_int();
    record.objectType = symbol.child("ObjectType").text().as_int();
    record.instance = symbol.child("Instance").text().as_int();
    record.propId = symbol.child("PropID").text().as_int();
    record.dataType = std::string(symbol.child("DataType").text().as_string()) == "REAL" ? driver::kTypeReal : 0;
    record.bitNum = symbol.child("BitNum").text().as_int();
    record.priorityReset = symbol.child("PriorityReset").text().as_bool();
    record.valueBlock = std::calloc(1, kValueBlockSize);
    if (record.valueBlock == nullptr) throw std::bad_alloc();
    static_cast<char*>(record.valueBlock)[2] = static_cast<char>(record.dataType);
    records.emplace(static_cast<std::uint32_t>(record.regId), std::move(record));
  }
}

}  // namespace

void writeProject(const std::string& path, int link, int points, const std::string& device, const std::string& more) {
  std::ofstream file(path);
  file << fmt::format(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProjectInfo>\n<BACnet LinkID=\"{0}\"><Ip>{1}</Ip>"
      "<EnableReadPropm>1</EnableReadPropm><EnableWritePropm>1</EnableWritePropm>{2}</BACnet>\n"
      "<Symbols LinkID=\"{0}\">\n",
      link, device, more);
  for (int regId = 1; regId <= points; ++regId) {
    file << fmt::format(
        "<Symbol><Name>Room_{0}_Temperature</Name><RegId>{0}</RegId><ObjectType>2</ObjectType><Instance>{0}</Instance>"
        "<PropID>85</PropID><DataType>REAL</DataType><BitNum>0</BitNum><PriorityReset>0</PriorityReset></Symbol>\n",
        regId);
  }
  file << "</Symbols>\n</ProjectInfo>\n";
}

double loadWithDriver(const std::string& path, int link, int points) {
  driver::CBACnetLink loading;
  return cpuSecondsInProcess(points, [&] {
    loading.loadProject(path, link);  // no helper is there to hand it on to
    return &loading.symbols;
  });
}

double loadWithPugixml(const std::string& path, int points) {
  Records records;
  return cpuSecondsInProcess(points, [&] {
    pugi::xml_document document;
    document.load_file(path.c_str());
    readSymbols(document.child("ProjectInfo").child("Symbols"), records);
    return &records;
  });
}

}  // namespace bench
