#include "core/LKTextTableView.hpp"

#include "core/Characters.hpp"
#include "core/Checked.hpp"
#include "core/ConsoleLog.hpp"

#include <algorithm>

namespace lorvan {
namespace {

long count(const std::string& text) {
    return static_cast<long>(characterCount(text));
}

long decimalDigits(std::size_t value) {
    long digits = 1;
    while (value >= 10) {
        value /= 10;
        ++digits;
    }
    return digits;
}

std::string repeated(const std::string& unit, long times) {
    std::string result;
    for (long i = 0; i < times; ++i)
        result += unit;
    return result;
}

} // namespace

LKTextTableView::LKTextTableView()
    : LKTextTableView({"π"}, {{{"π", "3.141592654"}}}) {}

LKTextTableView::LKTextTableView(std::vector<std::string> keys_, std::vector<Row> data_)
    : keys(std::move(keys_))
    , data(std::move(data_)) {
    measure();
}

void LKTextTableView::measure() {
    _columnNumberElementCount = checkedAdd(count(lineNumberColumnHeader), 1L);
    _numberOfLineDigitCount = decimalDigits(data.size());
    std::vector<long> widths{std::max(_columnNumberElementCount, _numberOfLineDigitCount)};
    for (const auto& key : keys) {
        long width = checkedAdd(count(key), 1L);
        for (const auto& row : data) {
            const auto found = row.find(key);
            width = std::max(width, found == row.end() ? 3L : count(found->second));
        }
        widths.push_back(width);
    }
    _columnsMaxElementCount = std::move(widths);
}

std::string LKTextTableView::cell(const std::string& text, long width) const {
    return std::string(static_cast<std::size_t>(leftColumnSpace), ' ') + text +
           repeated(_space, width - count(text)) +
           std::string(static_cast<std::size_t>(rightColumnSpace), ' ');
}

std::string LKTextTableView::rule(const RuleGlyphs& glyphs) const {
    const long padding = checkedAdd(leftColumnSpace, rightColumnSpace);
    std::string line = glyphs.left;
    if (showLineNumberColumn) line += repeated(glyphs.line, checkedAdd(_columnsMaxElementCount[0], padding));
    for (std::size_t k = 1; k < _columnsMaxElementCount.size(); ++k) {
        if (k > 1)
            line += glyphs.betweenColumns;
        else if (showLineNumberColumn)
            line += glyphs.afterNumber;
        line += repeated(glyphs.line, checkedAdd(_columnsMaxElementCount[k], padding));
    }
    return line + glyphs.right;
}

std::string LKTextTableView::textLine(const std::string& number,
                                      const std::vector<std::string>& cells) const {
    std::string line = _bigVerticalLine;
    if (showLineNumberColumn) line += cell(number, _columnsMaxElementCount[0]);
    for (std::size_t k = 0; k < cells.size(); ++k) {
        if (k > 0)
            line += _smallVerticalLine;
        else if (showLineNumberColumn)
            line += _bigVerticalLine;
        line += cell(cells[k], _columnsMaxElementCount[k + 1]);
    }
    return line + _bigVerticalLine;
}

std::vector<std::string> LKTextTableView::lines() const {
    std::vector<std::string> out;
    out.push_back(rule({_boxUpLeftCorner, _bigHorizontalLine, _boxUpBigSeparator, _boxUpSmallSeparator,
                        _boxUpRrightCorner}));
    out.push_back(textLine(lineNumberColumnHeader, keys));
    out.push_back(rule(
        {_boxLeftBigSeparator, _bigHorizontalLine, _bigBigCross, _bigSmallCross, _boxRightBigSeparator}));
    const std::string separator = rule({_boxLeftSmallSeparator, _smallHorizontalLine, _smallBigCross,
                                        _smallSmallCross, _boxRightSmallSeparator});
    for (std::size_t r = 0; r < data.size(); ++r) {
        if (r > 0 && showLineSeparation) out.push_back(separator);
        std::vector<std::string> cells;
        for (const auto& key : keys) {
            const auto found = data[r].find(key);
            cells.push_back(found == data[r].end() ? missingValue : found->second);
        }
        out.push_back(textLine(std::to_string(r + 1), cells));
    }
    out.push_back(rule({_boxDownLeftCorner, _bigHorizontalLine, _boxDownBigSeparator, _boxDownSmallSeparator,
                        _boxDownRightCorner}));
    return out;
}

void LKTextTableView::print() const {
    for (const auto& line : lines())
        ConsoleLog::write(line);
}

} // namespace lorvan
