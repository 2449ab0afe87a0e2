#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text/szlist.h"

namespace {

std::vector<std::string> All(const VLIBCSzList* list) {
  std::vector<std::string> items;
  for (size_t i = 0; i < VLIBCSzListCount(list); ++i) items.push_back(VLIBCSzListGet(list, i));
  return items;
}

using Strings = std::vector<std::string>;

TEST(SzList, AddAndGetOwnCopies) {
  VLIBCSzList* list = VLIBCSzListAlloc(0);
  ASSERT_NE(list, nullptr);
  std::string text = "first";
  EXPECT_EQ(VLIBCSzListAdd(list, text.c_str()), 1);
  text = "changed";
  EXPECT_EQ(VLIBCSzListAdd(list, "second"), 2);
  EXPECT_EQ(All(list), (Strings{"first", "second"}));
  EXPECT_EQ(VLIBCSzListGet(list, 2), nullptr);
  EXPECT_EQ(VLIBCSzListAdd(list, nullptr), -1);
  VLIBCSzListFree(list);
  VLIBCSzListFree(nullptr);
}

TEST(SzList, GrowsPastItsHint) {
  VLIBCSzList* list = VLIBCSzListAlloc(2);
  const char* first = nullptr;
  for (int i = 0; i < 100; ++i) {
    VLIBCSzListAdd(list, std::to_string(i).c_str());
    if (i == 0) first = VLIBCSzListGet(list, 0);
  }
  EXPECT_EQ(VLIBCSzListCount(list), 100u);
  EXPECT_EQ(VLIBCSzListGet(list, 0), first);  // pointers stay valid as it grows
  EXPECT_STREQ(VLIBCSzListGet(list, 99), "99");
  VLIBCSzListFree(list);
}

TEST(SzList, SplitSkipsEmptyPieces) {
  VLIBCSzList* list = VLIBCSzListAlloc(1024);
  EXPECT_EQ(VLIBCStrSep("2,0", ",", list), 2);
  EXPECT_EQ(VLIBCStrSep(",,a,,b,", ",", list), 2);
  EXPECT_EQ(VLIBCStrSep("", ",", list), 0);
  EXPECT_EQ(VLIBCStrSep(",", ",", list), 0);
  EXPECT_EQ(VLIBCStrSep("x;y z", "; ", list), 3);
  EXPECT_EQ(All(list), (Strings{"2", "0", "a", "b", "x", "y", "z"}));
  EXPECT_EQ(VLIBCStrSep(nullptr, ",", list), -1);
  EXPECT_EQ(VLIBCStrSep("a", ",", nullptr), -1);
  EXPECT_EQ(VLIBCSzListCount(list), 7u);
  VLIBCSzListFree(list);
}

TEST(SzList, SortsByteWise) {
  VLIBCSzList* list = VLIBCSzListAlloc(4);
  VLIBCStrSep("b,10,a,2,B", ",", list);
  EXPECT_EQ(VLIBCSzListSortItems(list, kSzListSortAscending), 0);
  EXPECT_EQ(All(list), (Strings{"10", "2", "B", "a", "b"}));
  EXPECT_EQ(VLIBCSzListSortItems(list, kSzListSortDescending), 0);
  EXPECT_EQ(All(list), (Strings{"b", "a", "B", "2", "10"}));
  EXPECT_EQ(VLIBCSzListSortItems(list, 7), -1);
  EXPECT_EQ(VLIBCSzListSortItems(nullptr, kSzListSortAscending), -1);
  EXPECT_EQ(VLIBCSzListCount(nullptr), 0u);
  EXPECT_EQ(VLIBCSzListGet(nullptr, 0), nullptr);
  VLIBCSzListFree(list);
}

}  // namespace
