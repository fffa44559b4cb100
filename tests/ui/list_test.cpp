#include "ui/check_list.h"
#include "ui/drop_list.h"

#include <gtest/gtest.h>

namespace td {
namespace {

TEST(CheckListTest, EntriesMarksAndSelection) {
    Check_List list;
    EXPECT_EQ(list.List_Index(), -1);
    EXPECT_EQ(list.Add("АЗС 1", "st\\1"), 0);
    EXPECT_EQ(list.Add("АЗС 2", "st\\2", true), 1);
    list.Add("АЗС 3", "st\\3");
    EXPECT_EQ(list.Checked_Count(), 1);
    EXPECT_TRUE(list.Set_Checked(2, true));
    EXPECT_TRUE(list.Set_Checked(1, false));
    EXPECT_FALSE(list.Set_Checked(3, true));
    EXPECT_FALSE(list.Set_Checked(-1, true));
    EXPECT_EQ(list.Checked_Count(), 1);
    EXPECT_TRUE(list.Checked(2));
    EXPECT_FALSE(list.Checked(9));
    EXPECT_EQ(list.Key(2), "st\\3");
    EXPECT_EQ(list.Text(5), "");
    EXPECT_EQ(list.Find_Key("st\\2"), 1);
    EXPECT_EQ(list.Find_Text("АЗС 3"), 2);
    EXPECT_EQ(list.Find_Text("АЗС"), -1);

    list.Set_List_Index(1);
    EXPECT_EQ(list.List_Index(), 1);
    list.Set_List_Index(3);
    EXPECT_EQ(list.List_Index(), -1);
    list.Set_List_Index(2);
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.List_Index(), -1);
    EXPECT_EQ(list.Checked_Count(), 0);
}

TEST(DropListTest, ItemsChoiceAndFind) {
    Drop_List list;
    EXPECT_EQ(list.List_Index(), -1);
    EXPECT_EQ(list.Text(), "");
    list.Add_Item("АИ-92");
    list.Add_Item("АИ-95");
    list.Add_Item("ДТ");
    list.Set_List_Index(1);
    EXPECT_EQ(list.Text(), "АИ-95");

    // An item put in before the chosen one keeps the choice on the same text.
    list.Add_Item("АИ-80", 0);
    EXPECT_EQ(list.List_Index(), 2);
    EXPECT_EQ(list.Text(), "АИ-95");
    list.Add_Item("Газ", 99);
    EXPECT_EQ(list.Item(4), "Газ");

    EXPECT_EQ(list.Find("ДТ"), 3);
    EXPECT_EQ(list.Find("дт"), -1);
    list.Set_List_Index(7);
    EXPECT_EQ(list.List_Index(), -1);
    EXPECT_EQ(list.Text(), "");

    list.Set_List_Index(0);
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.List_Index(), -1);
    EXPECT_EQ(list.Item(0), "");
}

} // namespace
} // namespace td
