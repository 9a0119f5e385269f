#pragma once

#include <cstdint>
#include <map>
#include <string>

/// One register of the HMI project, as the runtime hands it to a driver. Owned by the runtime; a driver keeps no
/// reference beyond the call. Not thread-safe: one thread at a time.
class CRegister {
 public:
  CRegister();
  CRegister(std::string name, std::uint32_t length);
  CRegister(const CRegister&);
  CRegister& operator=(const CRegister&);
  ~CRegister();

  /// The register's name. For this driver: the decimal RegId of its point.
  const std::string& getName() const;

  /// Before preparation the runtime's own length units, afterwards 16-bit register words.
  std::uint32_t getLength() const;
  void setLength(std::uint32_t length);

  /// Text parameter `key`; empty when the register has none of that name.
  std::string getParameter(const std::string& key) const;
  void setParameter(const std::string& key, const std::string& value);

 private:
  std::string name_;
  std::uint32_t length_ = 0;
  std::map<std::string, std::string> parameters_;
};

namespace driver {

/// Length units per address step of `reg`; `CRegister::getLength` divided by it gives 16-bit register words.
std::uint32_t getRegisterAddrStepSize(CRegister& reg);

}  // namespace driver
