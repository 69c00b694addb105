#pragma once

#include <map>
#include <string>
#include <vector>

namespace lorvan {

/// A table of text for the console log, framed with box-drawing characters: double rules outside
/// and under the header, single rules between columns. Measures its columns in user-perceived
/// characters. Main thread only.
class LKTextTableView {
public:
    using Row = std::map<std::string, std::string>;

    /// The text printed for a row that has no value for a key.
    static constexpr const char* missingValue = "N/A";

    LKTextTableView();
    LKTextTableView(std::vector<std::string> keys, std::vector<Row> data);

    /// Measures every column again; run it after changing keys, rows or the header.
    void measure();

    /// The framed table, one text per line, without line ends.
    [[nodiscard]] std::vector<std::string> lines() const;
    /// Writes `lines()` to the console log, one print per line.
    void print() const;

    std::vector<long> _columnsMaxElementCount;
    long _columnNumberElementCount = 7;
    long _numberOfLineDigitCount = 3;
    std::string _space = " ";
    long leftColumnSpace = 1;
    long rightColumnSpace = 1;
    bool showLineNumberColumn = true;
    bool showLineSeparation = false;
    std::string lineNumberColumnHeader = "Number";
    std::vector<std::string> keys{"π", "e"};
    std::vector<Row> data{{{"π", "3.141592654"}, {"e", "2.718281829"}}};

    std::string _bigHorizontalLine = "═";
    std::string _bigVerticalLine = "║";
    std::string _smallHorizontalLine = "─";
    std::string _smallVerticalLine = "│";
    std::string _boxUpLeftCorner = "╔";
    std::string _boxDownLeftCorner = "╚";
    std::string _boxUpRrightCorner = "╗";
    std::string _boxDownRightCorner = "╝";
    std::string _boxUpBigSeparator = "╦";
    std::string _boxDownBigSeparator = "╩";
    std::string _boxUpSmallSeparator = "╤";
    std::string _boxDownSmallSeparator = "╧";
    std::string _boxLeftBigSeparator = "╠";
    std::string _boxRightBigSeparator = "╣";
    std::string _boxLeftSmallSeparator = "╟";
    std::string _boxRightSmallSeparator = "╢";
    std::string _smallSmallCross = "┼";
    std::string _bigSmallCross = "╪";
    std::string _bigBigCross = "╬";
    std::string _smallBigCross = "╫";

private:
    struct RuleGlyphs {
        const std::string& left;
        const std::string& line;
        const std::string& afterNumber;
        const std::string& betweenColumns;
        const std::string& right;
    };
    [[nodiscard]] std::string rule(const RuleGlyphs& glyphs) const;
    [[nodiscard]] std::string textLine(const std::string& number,
                                       const std::vector<std::string>& cells) const;
    [[nodiscard]] std::string cell(const std::string& text, long width) const;
};

} // namespace lorvan
