#include "core/LKTextTableView.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

// Cell widths and "N/A" for missing cells show in the printed tables below.
TEST(LKTextTableView, TheNumberColumnGrowsWithTheDigitsOfTheRowCount) {
    std::vector<LKTextTableView::Row> rows(10, {{"A", "1"}});
    LKTextTableView ten({"A"}, rows);
    EXPECT_EQ(ten._numberOfLineDigitCount, 2);
    rows.resize(100, {{"A", "1"}});
    ten.data = rows;
    ten.lineNumberColumnHeader = "N";
    ten.measure();
    EXPECT_EQ(ten._numberOfLineDigitCount, 3);
    EXPECT_EQ(ten._columnsMaxElementCount[0], 3); // the digits outgrow "N" + 1
}

TEST(LKTextTableView, PrintsADoubleFrameWithSingleRulesBetweenColumns) {
    LKTextTableView table({"π", "e"}, {{{"π", "3.14"}, {"e", "2.72"}}, {{"π", "3"}}});
    table.showLineSeparation = true;
    const std::vector<std::string> expected{
        "╔═════════╦══════╤══════╗",
        "║ Number  ║ π    │ e    ║",
        "╠═════════╬══════╪══════╣",
        "║ 1       ║ 3.14 │ 2.72 ║",
        "╟─────────╫──────┼──────╢",
        "║ 2       ║ 3    │ N/A  ║",
        "╚═════════╩══════╧══════╝",
    };
    EXPECT_EQ(table.lines(), expected);
}

TEST(LKTextTableView, HidesTheNumberColumnAndHonoursSpacing) {
    LKTextTableView table({"Key", "Value"}, {{{"Key", "Title"}, {"Value", "Ünïcödé"}}});
    table.showLineNumberColumn = false;
    table.leftColumnSpace = 2;
    table.rightColumnSpace = 0;
    const std::vector<std::string> expected{
        "╔═══════╤═════════╗",
        "║  Key  │  Value  ║",
        "╠═══════╪═════════╣",
        "║  Title│  Ünïcödé║",
        "╚═══════╧═════════╝",
    };
    EXPECT_EQ(table.lines(), expected);
}

} // namespace
} // namespace lorvan
