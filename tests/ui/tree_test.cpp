#include "ui/tree.h"

#include <gtest/gtest.h>
#include <string>

namespace td {
namespace {

TEST(TreeTest, AddFailsOnUnknownParentAndDuplicateKey) {
    Tree tree;
    EXPECT_EQ(tree.Add("root\\", "root\\12\\", "Orphan"), Tree::Unknown_Key);
    EXPECT_EQ(tree.Count(), 0);
    ASSERT_EQ(tree.Add("", "root\\", "Клиенты"), 0);
    ASSERT_EQ(tree.Add("root\\", "root\\12\\", "Альфа"), 0);
    EXPECT_EQ(tree.Add("root\\", "root\\12\\", "Again"), Tree::Duplicate_Key);
    EXPECT_EQ(tree.Add("", "root\\", "Second root"), Tree::Duplicate_Key);
    EXPECT_EQ(tree.Add("root\\99\\", "root\\99\\1\\", "Deep"), Tree::Unknown_Key);
    // Failed adds leave no trace: no node, no child counted, the text unchanged.
    EXPECT_EQ(tree.Count(), 2);
    EXPECT_EQ(tree.Children("root\\"), 1);
    EXPECT_EQ(tree.Text("root\\12\\"), "Альфа");
    EXPECT_EQ(tree.Find("root\\99\\1\\"), -1);
    // Keys are exact: no trimming, case counts.
    EXPECT_EQ(tree.Find("root\\12"), -1);
    EXPECT_EQ(tree.Find("ROOT\\"), -1);
}

TEST(TreeTest, KeepsCreationOrderParentsAndChildCountsUntilCleared) {
    Tree tree;
    tree.Add("", "root\\", "Клиенты");
    tree.Add("root\\", "root\\5\\", "Пятый");
    tree.Add("root\\", "root\\12\\", "Двенадцатый");
    tree.Add("root\\12\\", "root\\12\\3\\", "Группа");
    tree.Add("root\\12\\3\\", "root\\12\\3\\7\\", "Лист");
    tree.Add("root\\12\\", "root\\12\\4\\", "Другая");
    tree.Set_Sorted("root\\", true); // kept, orders nothing

    ASSERT_EQ(tree.Count(), 6);
    EXPECT_EQ(tree.Node(0).key, "root\\");
    EXPECT_EQ(tree.Node(1).key, "root\\5\\");
    EXPECT_EQ(tree.Node(2).key, "root\\12\\");
    EXPECT_EQ(tree.Node(5).key, "root\\12\\4\\");
    EXPECT_EQ(tree.Find("root\\12\\3\\7\\"), 4);

    EXPECT_EQ(tree.Children("root\\"), 2);
    EXPECT_EQ(tree.Children("root\\12\\"), 2);
    EXPECT_EQ(tree.Children("root\\12\\3\\"), 1);
    EXPECT_EQ(tree.Children("root\\5\\"), 0);
    EXPECT_EQ(tree.Children("root\\77\\"), -1);

    EXPECT_EQ(tree.Parent_Key("root\\12\\3\\7\\"), "root\\12\\3\\");
    EXPECT_EQ(tree.Node(4).parent, 3);
    EXPECT_EQ(tree.Parent_Key("root\\"), "");
    EXPECT_EQ(tree.Node(0).parent, -1);

    EXPECT_EQ(tree.Node(6).key, "");
    EXPECT_EQ(tree.Node(-1).children, 0);
    EXPECT_EQ(tree.Text("nowhere"), "");

    // Cleared, the keys are forgotten with their nodes.
    tree.Clear();
    EXPECT_EQ(tree.Count(), 0);
    EXPECT_EQ(tree.Add("root\\12\\", "root\\12\\9\\", "Лист"), Tree::Unknown_Key);
    EXPECT_EQ(tree.Add("", "root\\", "Клиенты"), 0);
}

TEST(TreeTest, FirstByTextFindsEarliestTrimmedMatch) {
    Tree tree;
    tree.Add("", "root\\", "Клиенты");
    tree.Add("root\\", "root\\1\\", "  Ромашка ");
    tree.Add("root\\", "root\\2\\", "Василёк");
    tree.Add("root\\2\\", "root\\2\\9\\", "Ромашка");
    EXPECT_EQ(tree.First_By_Text("Ромашка"), 1); // two of one name: the first created wins
    EXPECT_EQ(tree.First_By_Text(" Василёк  "), 2);
    EXPECT_EQ(tree.First_By_Text("ромашка"), -1);
    EXPECT_EQ(tree.First_By_Text("Роза"), -1);
    EXPECT_EQ(tree.First_By_Text(""), -1);
}

} // namespace
} // namespace td
