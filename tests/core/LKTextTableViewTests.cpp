#include "core/LKTextTableView.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

using Widths = std::vector<long>;

TEST(LKTextTableView, CellsWidenColumnsAndMissingCellsCountThree) {
    LKTextTableView table({"A", "Title"}, {{{"A", "x"}, {"Title", "A rather long title"}}, {{"Title", "é"}}, {}});
    EXPECT_EQ(table._columnsMaxElementCount, (Widths{7, 3, 19}));
    // Without rows a column is its key and one more; "π" counts one.
    EXPECT_EQ(LKTextTableView({"Track", "π"}, {})._columnsMaxElementCount, (Widths{7, 6, 2}));

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
