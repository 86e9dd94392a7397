// The layout of a record store: members, header words, virtual slots.

#include <dlfcn.h>

#include <cstdint>
#include <iterator>
#include <list>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/VirtualSlot.h"

namespace {

TEST(QuasiStructFileBase, MembersStandInTheirOrder) {
  ExposedFile const store;
  void const* const members[] = {&store.Words,      &store.m_reservedLong, &store.m_reservedShort,
                                 &store.m_fileName, &store.m_create,       &store.m_header,
                                 &store.m_loadTime, &store.m_offsets,      &store.m_lock,
                                 &store.m_lockName};
  auto const address = [&](std::size_t i) { return reinterpret_cast<std::uintptr_t>(members[i]); };
  EXPECT_GT(address(0), reinterpret_cast<std::uintptr_t>(&store.Flag));
  for (std::size_t i = 1; i < std::size(members); ++i) {
    EXPECT_GT(address(i), address(i - 1)) << i;
  }
  static_assert(sizeof store.Words == 12);
  static_assert(sizeof store.m_reservedLong == 8);
  static_assert(sizeof store.m_reservedShort == 2);
  static_assert(std::is_unsigned_v<decltype(store.m_reservedLong)>);
  static_assert(std::is_unsigned_v<decltype(store.m_reservedShort)>);
  static_assert(std::is_same_v<decltype(store.m_offsets), std::list<unsigned int>>);
}

TEST(QuasiStructFileBase, HeaderWordsStandAsInTheFile) {
  QuasiStructFileBase::HeaderWords const words{1, 2, 3};
  EXPECT_EQ(Word(1) + Word(2) + Word(3),
            std::string(reinterpret_cast<char const*>(&words), sizeof words));
}

TEST(QuasiStructFileBase, StatusAndRecordOperationsHaveTheirSlots) {
  using Store = QuasiStructFileBase;
  long slot = 2;  // Behind the two of the destructor.
  EXPECT_EQ(slot++, VirtualSlot(&Store::IsError));
  EXPECT_EQ(slot++, VirtualSlot(&Store::ErrorMessage));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Clear));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Raise));
  EXPECT_EQ(slot++, VirtualSlot(&Store::IsItInFile));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Get));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Put));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Add));
  EXPECT_EQ(slot++, VirtualSlot(&Store::PutList));
  EXPECT_EQ(slot++, VirtualSlot(&Store::Del));
  EXPECT_EQ(slot++, VirtualSlot(&Store::EmptyFile));
  EXPECT_EQ(13, slot);
  static_assert(std::has_virtual_destructor_v<Store>);
}

TEST(QuasiStructFileBase, StorageOperationsHaveTheirSlots) {
  using Store = QuasiStructFileBase;
  long slot = 13;
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Read));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Write));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Seek));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Open));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_IsExists));
  EXPECT_EQ(slot++, VirtualSlot<Store>(
                        static_cast<unsigned int (Store::*)(CTOOFile*)>(&Store::stor_Length)));
  EXPECT_EQ(slot++, VirtualSlot<Store>(
                        static_cast<unsigned int (Store::*)(char const*)>(&Store::stor_Length)));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_GetLastWriteTime));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_ReadIdentObject));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_WriteIdentObject));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_CurPos));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Truncate));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Close));
  EXPECT_EQ(26, slot);
}

// The table itself, whose slots begin behind two words.
TEST(QuasiStructFileBase, StorageOperationsAloneArePureInTheTable) {
  void const* const pure = ::dlsym(RTLD_DEFAULT, "__cxa_pure_virtual");
  auto const* const table =
      static_cast<void const* const*>(::dlsym(RTLD_DEFAULT, "_ZTV19QuasiStructFileBase"));
  ASSERT_NE(nullptr, pure);
  ASSERT_NE(nullptr, table);
  for (int slot = 0; slot < 26; ++slot) {
    EXPECT_EQ(slot >= 13, table[2 + slot] == pure) << slot;
  }
  static_assert(std::is_abstract_v<QuasiStructFileBase>);
}

TEST(QuasiStructFileBase, OtherOperationsAreNotVirtual) {
  using Store = QuasiStructFileBase;
  EXPECT_EQ(-1, VirtualSlot(&Store::GetHeader));
  EXPECT_EQ(-1, VirtualSlot(&Store::PutHeader));
  EXPECT_EQ(-1, VirtualSlot(&Store::GetAll));
  EXPECT_EQ(-1, VirtualSlot(&Store::Init));
  EXPECT_EQ(-1, VirtualSlot(&Store::PreInit));
  EXPECT_EQ(-1, VirtualSlot(&Store::Reload));
  EXPECT_EQ(-1, VirtualSlot(&Store::Unload));
  EXPECT_EQ(-1, VirtualSlot(&Store::CheckAndRestore));
  EXPECT_EQ(-1, VirtualSlot(&Store::LockReadFile));
  EXPECT_EQ(-1, VirtualSlot(&Store::LockWriteFile));
  EXPECT_EQ(-1, VirtualSlot(&Store::LockReadWriteFile));
}

}  // namespace
