#include "ui/grid.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td {
namespace {

std::vector<std::string> Column(const Grid& grid, int col) {
    std::vector<std::string> texts;
    for (int row = 0; row < grid.Rows(); ++row) {
        texts.push_back(grid.Text(row, col));
    }
    return texts;
}

Grid Grid_Of(const std::vector<std::string>& keys) {
    Grid grid(1, 2);
    grid.Set_Text(0, 0, "header");
    for (std::size_t i = 0; i < keys.size(); ++i) {
        grid.Add_Item(keys[i] + "\t" + std::to_string(i));
    }
    return grid;
}

TEST(GridTest, OutOfRangeAccessIsHarmless) {
    Grid grid(3, 2);
    EXPECT_FALSE(grid.Set_Text(3, 0, "x"));
    EXPECT_FALSE(grid.Set_Text(0, 2, "x"));
    EXPECT_FALSE(grid.Set_Text(-1, 0, "x"));
    EXPECT_FALSE(grid.Set_Bold(5, 5, true));
    EXPECT_FALSE(grid.Set_Colour(-1, -1, {255, 0, 0}));
    EXPECT_FALSE(grid.Set_Icon(0, 9, "up"));
    EXPECT_EQ(grid.Text(99, 99), "");
    EXPECT_EQ(grid.Cell(-1, 0).icon, "");
    EXPECT_EQ(grid.Column_Width(7), 0);
    EXPECT_EQ(grid.Row_Height(7), 0);
    grid.Set_Column_Width(7, 100);
    grid.Set_Row_Height(-2, 100);
    EXPECT_FALSE(grid.Remove_Item(3));
    for (int row = 0; row < grid.Rows(); ++row) {
        for (int col = 0; col < grid.Cols(); ++col) {
            EXPECT_EQ(grid.Cell(row, col).text, "");
            EXPECT_FALSE(grid.Cell(row, col).bold);
        }
    }
    // Selecting outside the grid keeps the current cell.
    grid.Set_Row(2);
    grid.Set_Col(1);
    grid.Set_Row(3);
    grid.Set_Col(-1);
    grid.Set_Top_Row(10);
    EXPECT_EQ(grid.Row(), 2);
    EXPECT_EQ(grid.Col(), 1);
    EXPECT_EQ(grid.Top_Row(), 1);
}

TEST(GridTest, ResizingKeepsContentAndClearKeepsSize) {
    Grid grid(2, 2);
    grid.Set_Text(1, 1, "kept");
    grid.Set_Column_Width(1, 0);
    grid.Set_Rows(4);
    grid.Set_Cols(3);
    EXPECT_EQ(grid.Text(1, 1), "kept");
    EXPECT_EQ(grid.Row_Height(3), Default_Row_Height);
    EXPECT_EQ(grid.Column_Width(2), Default_Column_Width);
    EXPECT_EQ(grid.Column_Width(1), 0);
    EXPECT_TRUE(grid.Set_Text(3, 2, "corner"));

    grid.Set_Row(3);
    grid.Set_Rows(2);
    EXPECT_EQ(grid.Rows(), 2);
    EXPECT_EQ(grid.Row(), 1);
    EXPECT_EQ(grid.Text(3, 2), "");

    grid.Set_Bold(1, 1, true);
    grid.Set_Colour(1, 1, {1, 2, 3});
    grid.Set_Icon(1, 1, "fc");
    grid.Set_Row_Height(1, 0);
    grid.Clear();
    EXPECT_EQ(grid.Rows(), 2);
    EXPECT_EQ(grid.Cols(), 3);
    EXPECT_EQ(grid.Text(1, 1), "");
    EXPECT_FALSE(grid.Cell(1, 1).bold);
    EXPECT_FALSE(grid.Cell(1, 1).has_colour);
    EXPECT_EQ(grid.Cell(1, 1).icon, "");
    EXPECT_EQ(grid.Column_Width(1), 0);
    EXPECT_TRUE(grid.Row_Hidden(1));
}

TEST(GridTest, AddItemSplitsAtTabsAndInsertsAtPosition) {
    Grid grid(2, 3);
    grid.Set_Text(1, 0, "old");
    grid.Add_Item("a\tb\tc\td\te"); // more cells than columns: the rest is dropped
    EXPECT_EQ(grid.Rows(), 3);
    EXPECT_EQ(Column(grid, 2), (std::vector<std::string>{"", "", "c"}));
    EXPECT_EQ(grid.Text(2, 0), "a");

    grid.Add_Item("x\t\ty", 1);
    EXPECT_EQ(grid.Rows(), 4);
    EXPECT_EQ(grid.Text(1, 0), "x");
    EXPECT_EQ(grid.Text(1, 1), "");
    EXPECT_EQ(grid.Text(1, 2), "y");
    EXPECT_EQ(grid.Text(2, 0), "old");
    EXPECT_EQ(grid.Row_Height(1), Default_Row_Height);

    grid.Add_Item("short", 4); // at the end, by position
    EXPECT_EQ(grid.Text(4, 0), "short");
    EXPECT_EQ(grid.Text(4, 1), "");
    grid.Add_Item("beyond", 9);
    EXPECT_EQ(grid.Rows(), 5);

    grid.Set_Row_Height(2, 0);
    EXPECT_TRUE(grid.Remove_Item(1));
    EXPECT_EQ(grid.Text(1, 0), "old");
    EXPECT_TRUE(grid.Row_Hidden(1)); // the height goes with its row
}

TEST(GridTest, SortOrdersNumbersAsNumbersAndTheRestAsText) {
    // Keys of rows 1.., the rows sorted (the header row never moves, ranges are clamped, ends
    // may come reversed, a column that isn't there moves nothing) and the keys after.
    struct Case {
        std::vector<std::string> keys;
        int first, last, col;
        Sort_Order order;
        std::vector<std::string> sorted;
    };
    const std::vector<std::string> numbers = {"12", "5", "-3", "10,5", "10.25", " 7 ", "100"};
    const std::vector<std::string> nine_to_five = {"9", "8", "7", "6", "5"};
    const Case cases[] = {
        {numbers, 1, 7, 0, Sort_Order::Ascending, {"-3", "5", " 7 ", "10.25", "10,5", "12", "100"}},
        {numbers,
         1,
         7,
         0,
         Sort_Order::Descending,
         {"100", "12", "10,5", "10.25", " 7 ", "5", "-3"}},
        // Text by its bytes: capitals first. Exponents and signs alone are text.
        {{"Б", "а", "А", "б"}, 1, 4, 0, Sort_Order::Ascending, {"А", "Б", "а", "б"}},
        {{"1e3", "2"}, 1, 2, 0, Sort_Order::Ascending, {"1e3", "2"}},
        {{"-", "+"}, 1, 2, 0, Sort_Order::Ascending, {"+", "-"}},
        {nine_to_five, 2, 4, 0, Sort_Order::Ascending, {"9", "6", "7", "8", "5"}},
        {nine_to_five, 0, 99, 0, Sort_Order::Ascending, {"5", "6", "7", "8", "9"}},
        {{"5", "6", "7", "8", "9"}, 4, 2, 0, Sort_Order::Descending, {"5", "8", "7", "6", "9"}},
        {nine_to_five, 1, 5, 7, Sort_Order::Ascending, nine_to_five},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys.front() + " " + std::to_string(c.first) + ".." +
                     std::to_string(c.last));
        Grid grid = Grid_Of(c.keys);
        grid.Sort(c.first, c.last, c.col, c.order);
        std::vector<std::string> expected = {"header"};
        expected.insert(expected.end(), c.sorted.begin(), c.sorted.end());
        EXPECT_EQ(Column(grid, 0), expected);
    }

    // "12" against "5" is numeric; against "abc" or "1x" it is text. Mixed keys make no total
    // order; whatever comes out, no row is lost or doubled, and empty text is the least.
    Grid mixed = Grid_Of({"abc", "12", "1x", "5", "", "1e3"});
    mixed.Sort(1, mixed.Rows() - 1, 0, Sort_Order::Ascending);
    std::vector<std::string> seen = Column(mixed, 0);
    EXPECT_EQ(seen[1], "");
    std::sort(seen.begin() + 1, seen.end());
    EXPECT_EQ(seen, (std::vector<std::string>{"header", "", "12", "1e3", "1x", "5", "abc"}));
}

TEST(GridTest, SortIsStableAndMovesWholeRows) {
    Grid grid = Grid_Of({"b", "a", "b", "a", "b"});
    grid.Set_Row_Height(3, 0); // row 3 holds the second "b"
    grid.Set_Bold(2, 1, true);
    grid.Sort(1, 5, 0, Sort_Order::Ascending);
    EXPECT_EQ(Column(grid, 1), (std::vector<std::string>{"", "1", "3", "0", "2", "4"}));
    EXPECT_TRUE(grid.Cell(1, 1).bold); // row "a"/1 carried its bold cell
    EXPECT_TRUE(grid.Row_Hidden(4));   // and row "b"/2 its zero height
    EXPECT_FALSE(grid.Row_Hidden(3));

    grid.Sort(1, 5, 0, Sort_Order::Descending);
    EXPECT_EQ(Column(grid, 1), (std::vector<std::string>{"", "0", "2", "4", "1", "3"}));
}

TEST(GridTest, SortSurvivesInconsistentMixedKeys) {
    // 9 < 10 as numbers, "10" < "1a" and "1a" < "9" as text: no consistent order exists. The
    // sort must still end, keep every row and stay in bounds.
    std::vector<std::string> keys;
    for (int i = 0; i < 300; ++i) {
        keys.push_back(std::vector<std::string>{"9", "10", "1a", "100", "2b"}[i % 5]);
    }
    Grid grid = Grid_Of(keys);
    grid.Sort(1, grid.Rows() - 1, 0, Sort_Order::Ascending);
    std::vector<bool> seen(keys.size(), false);
    for (int row = 1; row < grid.Rows(); ++row) {
        const int original = std::stoi(grid.Text(row, 1));
        EXPECT_FALSE(seen[original]);
        seen[original] = true;
        EXPECT_EQ(grid.Text(row, 0), keys[original]);
    }
}

} // namespace
} // namespace td
