#include "process/handle_list.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace moorlak {
namespace {

using Handles = std::vector<void*>;

void* Handle(std::intptr_t value) {
  return reinterpret_cast<void*>(value);
}

bool AnyIsInheritable(void*) {
  return true;
}

TEST(HandleList, KeepsUsableHandlesInTheirOrder) {
  EXPECT_EQ(InheritableHandles({Handle(12), Handle(4), Handle(8)}, AnyIsInheritable),
            (Handles{Handle(12), Handle(4), Handle(8)}));
}

TEST(HandleList, LeavesOutNull) {
  EXPECT_EQ(InheritableHandles({nullptr, Handle(4), nullptr}, AnyIsInheritable), Handles{Handle(4)});
}

TEST(HandleList, LeavesOutTheInvalidHandleValueThoughItIsAlsoAPseudoHandle) {
  EXPECT_EQ(InheritableHandles({Handle(-1), Handle(4)}, AnyIsInheritable), Handles{Handle(4)});
}

TEST(HandleList, LeavesOutDuplicates) {
  EXPECT_EQ(InheritableHandles({Handle(8), Handle(4), Handle(8), Handle(8), Handle(4)}, AnyIsInheritable),
            (Handles{Handle(8), Handle(4)}));
}

TEST(HandleList, LeavesOutHandlesThatAreNotInheritable) {
  const auto onlyEight = [](void* handle) { return handle == Handle(8); };
  EXPECT_EQ(InheritableHandles({Handle(4), Handle(8), Handle(12)}, onlyEight), Handles{Handle(8)});
}

TEST(HandleList, IsEmptyWhenNothingIsUsable) {
  EXPECT_TRUE(InheritableHandles({}, AnyIsInheritable).empty());
  EXPECT_TRUE(InheritableHandles({nullptr, Handle(-1)}, AnyIsInheritable).empty());
  EXPECT_TRUE(InheritableHandles({Handle(4)}, [](void*) { return false; }).empty());
}

TEST(HandleList, NeverAsksTheSystemAboutNullOrInvalidHandles) {
  InheritableHandles({nullptr, Handle(-1), Handle(4)}, [](void* handle) {
    EXPECT_EQ(handle, Handle(4));
    return true;
  });
}

}  // namespace
}  // namespace moorlak
