#include <gtest/gtest.h>
#include <rttr/type>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "cbl/process/run_command.h"
#include "support/plugin.h"
#include "support/temp_dir.h"

namespace {

using driver::CDriver;
using support::LoadedDriver;
using support::Plugin;

TEST(Plugin, ExportsItsTwoEntryPointsAndNothingElse) {
  std::list<std::string> symbols;
  ASSERT_EQ(cbl::runCommand(std::string("nm -D --defined-only --format=just-symbols ") + Plugin::path(), &symbols), 0);
  EXPECT_EQ(symbols, (std::list<std::string>{"Create_Driver", "Get_Driver_ABI_Version"}));
}

TEST(Plugin, CanBeLoadedAndUnloadedAgainAndAgain) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(rttr::type::get_by_name("BACnet_IP").is_valid());
    Plugin plugin;
    EXPECT_EQ(plugin.abiVersion(), 1);
    {
      rttr::variant owner;
      ASSERT_EQ(plugin.create(owner), 0);
      EXPECT_EQ(plugin.abiVersion(), 1);
    }
    plugin.unload();
    EXPECT_EQ(support::readFile("/proc/self/maps").find("libBACnet_IP.so"), std::string::npos);
  }
  EXPECT_FALSE(rttr::type::get_by_name("BACnet_IP").is_valid());
}

TEST(Plugin, RegistersItsTypeWithBaseConstructorAndDestructor) {
  const Plugin plugin;
  const rttr::type type = rttr::type::get_by_name("BACnet_IP");
  ASSERT_TRUE(type.is_valid());
  EXPECT_TRUE(type.is_derived_from<CDriver>());
  EXPECT_EQ(type.get_constructors().size(), 1U);
  EXPECT_TRUE(type.get_constructor().is_valid());
  EXPECT_TRUE(type.get_destructor().is_valid());
  EXPECT_TRUE(type.get_properties().empty());
  EXPECT_TRUE(type.get_methods().empty());
  EXPECT_FALSE(type.create({1}).is_valid());

  const rttr::variant created = type.create();
  EXPECT_TRUE(created.get_type().is_wrapper());
  EXPECT_EQ(created.extract_wrapped_value().get_type().get_raw_type(), type);
}

// The slot that a pointer to a virtual operation designates (Itanium and Arm C++ ABI).
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::uintptr_t offset = 0;
  std::memcpy(&offset, &operation, sizeof(offset));
  return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

template <typename... Operations>
std::vector<std::size_t> slotsOf(Operations... operations) {
  return {slotOf(operations)...};
}

TEST(Plugin, HasTheHostsOperationsInSlotOrder) {
  using D = CDriver;
  std::size_t slot = 1;  // the destructors take 0 and 1
  for (const std::size_t actual :
       slotsOf(&D::init, &D::disconnect, &D::updateConfig, &D::getStatus, &D::getConnectState, &D::connect,
               &D::prepareRegister, &D::supportsMultiAccess, &D::acceptBatchItem, &D::readRegister, &D::readRegisters,
               &D::writeRegister, &D::writeRegisters, &D::readAligned, &D::writeAligned, &D::reserved3, &D::reserved4,
               &D::get_type, &D::get_ptr, &D::get_derived_info)) {
    EXPECT_EQ(actual, ++slot);
  }
}

TEST(Plugin, AnswersThroughTheRealVirtualTable) {
  const LoadedDriver loaded;
  CDriver* object = &*loaded;
  void** table = nullptr;
  std::memcpy(&table, static_cast<const void*>(object), sizeof(table));

  const std::array<std::pair<std::size_t, std::int32_t>, 5> fixed = {{{3, 0}, {5, -1}, {6, -1}, {17, -1}, {18, -1}}};
  for (const auto& [slot, answer] : fixed) {
    EXPECT_EQ(reinterpret_cast<std::int32_t (*)(CDriver*)>(table[slot])(object), answer) << "slot " << slot;
  }
  CRegister reg("1", 1);
  std::vector<short> words = {7};
  using Aligned = std::int32_t (*)(CDriver*, CRegister&, std::vector<short>&, std::uint32_t);
  for (const std::size_t slot : {15U, 16U}) {
    EXPECT_EQ(reinterpret_cast<Aligned>(table[slot])(object, reg, words, 16), 0) << "slot " << slot;
  }
  EXPECT_EQ(words, std::vector<short>{7});
  EXPECT_EQ(reinterpret_cast<void* (*)(CDriver*)>(table[20])(object), object);
  EXPECT_EQ(object->get_type().get_name(), "BACnet_IP");
}

}  // namespace
