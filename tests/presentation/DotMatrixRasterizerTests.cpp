#include "presentation/DotMatrixRasterizer.hpp"
#include "support/TestSupport.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

namespace lorvan {
namespace {

/// The dots as text rows ('#' lit, '.' unlit), to compare whole glyphs at a glance.
std::vector<std::string> picture(const DotMatrix& matrix) {
    std::vector<std::string> rows;
    for (long y = 0; y < matrix.height; ++y) {
        std::string row;
        for (long x = 0; x < matrix.width; ++x)
            row += matrix.lit(x, y) ? '#' : '.';
        rows.push_back(row);
    }
    return rows;
}

long litCount(const DotMatrix& matrix) {
    long count = 0;
    for (const auto dot : matrix.dots)
        count += dot;
    return count;
}

// A tiny font in Unifont's format, so the layout rules can be checked dot by dot.
constexpr const char* smallFont = "0020:00000000000000000000000000000000\n"
                                  "0041:0000000018242442427E424242420000\n"
                                  "0065:0000000000003C42427E4040423C0000\n"
                                  "0301:0C300000000000000000000000000000\n"
                                  "2500:00000000000000FF0000000000000000\n"
                                  "200D:FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF\n"
                                  "not a glyph line\n"
                                  "6771:01000100FFFE010001003FF821083FF821083FF82388054009203118C1060100\r\n"
                                  "FFFD:0000007E665A5A7A76767E76767E0000\n";

class SmallFont : public ::testing::Test {
protected:
    test::TemporaryDirectory directory;
    UnifontGlyphs glyphs{directory.write("small.hex", smallFont)};
    DotMatrixRasterizer rasterizer{glyphs, DisplayFont::defaultFont()};
};

TEST_F(SmallFont, ReadsGlyphLinesAndSkipsOthers) {
    EXPECT_EQ(glyphs.size(), 8u);
    EXPECT_EQ(glyphs.glyph(U'A')->width, 8);
    const auto wide = glyphs.glyph(U'\u6771'); // its line ends in CR LF
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->width, 16);
    EXPECT_EQ(wide->rows[15], 0x0100);
    EXPECT_FALSE(glyphs.glyph(U'B'));
}

TEST_F(SmallFont, SetsAGlyphAtTheLeftOfItsNineDotCell) {
    const DotMatrix m = rasterizer.rasterize("A");
    EXPECT_EQ(std::tuple(m.width, m.height, m.characterCount, m.cellCount), std::tuple(9, 16, 1, 1));
    const auto rows = picture(m);
    for (const auto& [row, dots] :
         {std::pair{3, "........."}, {4, "...##...."}, {5, "..#..#..."}, {9, ".######.."}, {15, "........."}})
        EXPECT_EQ(rows[row], dots) << row;

    const DotMatrix two = rasterizer.rasterize("AA");
    EXPECT_EQ(two.width, 18);
    EXPECT_EQ(picture(two)[9], ".######...######..");
}

TEST_F(SmallFont, WideGlyphsTakeTwoCellsAndStayCentred) {
    const DotMatrix m = rasterizer.rasterize("A\u6771A");
    EXPECT_EQ(std::tuple(m.width, m.height, m.characterCount, m.cellCount), std::tuple(36, 16, 3, 4));
    EXPECT_EQ(picture(m)[2], "..........###############...........");
    EXPECT_EQ(picture(m)[9], ".######.....###########.....######..");
}

TEST_F(SmallFont, DrawsCombiningMarksOverTheirBase) {
    const DotMatrix m = rasterizer.rasterize("e\u0301");
    EXPECT_EQ(std::pair(m.characterCount, m.cellCount), std::pair(1L, 1L));
    const auto rows = picture(m);
    for (const auto& [row, dots] : {std::pair{0, "....##..."}, {1, "..##....."}, {9, ".######.."}})
        EXPECT_EQ(rows[row], dots) << row;
    EXPECT_EQ(litCount(m), litCount(rasterizer.rasterize("e")) + 4);

    // A mark with nothing before it still gets a cell of its own.
    const DotMatrix lone = rasterizer.rasterize("\u0301");
    EXPECT_EQ(lone.cellCount, 1);
    EXPECT_EQ(litCount(lone), 4);
}

TEST_F(SmallFont, JoinsLineDrawingAcrossTheNinthColumn) {
    EXPECT_EQ(picture(rasterizer.rasterize("\u2500\u2500"))[7], "##################");
}

TEST_F(SmallFont, ShowsMissingGlyphsAsReplacementAndHidesInvisibles) {
    const DotMatrix missing = rasterizer.rasterize("B");
    const DotMatrix replacement = rasterizer.rasterize("\uFFFD");
    EXPECT_EQ(missing.dots, replacement.dots);
    EXPECT_GT(litCount(replacement), 0);

    EXPECT_EQ(rasterizer.rasterize("\xFF").dots, replacement.dots); // invalid UTF-8

    // The font has a (filled) glyph for the zero-width joiner, but it must never show.
    const DotMatrix joined = rasterizer.rasterize("A\u200DA");
    EXPECT_EQ(litCount(joined), 2 * litCount(rasterizer.rasterize("A")));

    const DotMatrix tabbed = rasterizer.rasterize("A\tA");
    EXPECT_EQ(tabbed.cellCount, 3);
    EXPECT_EQ(litCount(tabbed), 2 * litCount(rasterizer.rasterize("A")));

    const DotMatrix empty = rasterizer.rasterize("");
    EXPECT_TRUE(empty.width == 0 && empty.characterCount == 0 && empty.dots.empty());
}

TEST(UnifontGlyphs, RefusesMissingAndMalformedFilesWithAClearError) {
    test::TemporaryDirectory directory;
    test::CapturedLog log;
    const auto missing =
        test::thrown<DisplayFontError>([&] { (void)UnifontGlyphs(directory.path() / "absent.hex"); });
    EXPECT_EQ(missing.kind(), DisplayFontError::Kind::glyphFileMissing);
    EXPECT_NE(missing.failureReason()->find("absent.hex"), std::string::npos);
    EXPECT_NE(missing.recoverySuggestion()->find("unifont"), std::string::npos);
    EXPECT_TRUE(log.contains("! Error"));
    EXPECT_TRUE(log.contains("The display font's glyphs could not be loaded | 'There is no glyph file at"));

    const auto junk = directory.write("junk.hex", "hello\n0041:12\nZZZZ:0000000018242442427E424242420000\n");
    EXPECT_EQ(test::thrown<DisplayFontError>([&] { (void)UnifontGlyphs{junk}; }).kind(),
              DisplayFontError::Kind::glyphFileMalformed);

    EXPECT_THROW(UnifontGlyphs(directory.path()), DisplayFontError);
}

// The file is indexed through a 64 KiB buffer: lines cut at its edges, and a line
// longer than the buffer, must neither lose nor shift a glyph.
TEST(UnifontGlyphs, FindsEveryGlyphOfAFileLongerThanItsReadBuffer) {
    test::TemporaryDirectory directory;
    const auto rowsOf = [](char32_t code) {
        std::array<std::uint16_t, 16> rows{};
        for (std::size_t row = 0; row < 16; ++row)
            rows[row] = static_cast<std::uint16_t>(((code * 16 + row) * 2654435761u) >> 16);
        return rows;
    };
    std::string text;
    char line[80];
    for (char32_t code = 0x100; code < 0x1100; ++code) {
        const bool wide = code % 7 == 0;
        std::snprintf(line, sizeof line, "%04X:", static_cast<unsigned>(code));
        text += line;
        for (const std::uint16_t row : rowsOf(code)) {
            std::snprintf(line, sizeof line, wide ? "%04X" : "%02X", wide ? row : row >> 8);
            text += line;
        }
        text += code % 5 == 0 ? "\r\n" : "\n";
        if (code == 0x800) text += "0801:" + std::string(100'000, '0') + "\n";
    }
    text += "1100:FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"; // the last line without its newline
    const UnifontGlyphs glyphs(directory.write("long.hex", text));

    EXPECT_EQ(glyphs.size(), 0x1000u + 1);
    for (char32_t code = 0x100; code < 0x1100; ++code) {
        const auto glyph = glyphs.glyph(code);
        ASSERT_TRUE(glyph) << std::hex << static_cast<unsigned>(code);
        const bool wide = code % 7 == 0;
        EXPECT_EQ(glyph->width, wide ? 16 : 8) << std::hex << static_cast<unsigned>(code);
        auto expected = rowsOf(code);
        if (!wide)
            for (auto& row : expected)
                row &= 0xFF00;
        EXPECT_EQ(glyph->rows, expected) << std::hex << static_cast<unsigned>(code);
    }
    EXPECT_EQ(glyphs.glyph(U'\u1100')->rows[15], 0xFF00);
}

TEST(UnifontGlyphs, ReadsCompressedFiles) {
    test::TemporaryDirectory directory;
    const auto plain = directory.write("font.hex", smallFont);
    ASSERT_EQ(std::system(("gzip -k -- '" + plain.string() + "'").c_str()), 0);
    UnifontGlyphs glyphs(directory.path() / "font.hex.gz");
    EXPECT_EQ(glyphs.size(), 8u);
    EXPECT_EQ(glyphs.glyph(U'A')->rows[9], 0x7E00);

    const auto broken = directory.write("broken.hex.gz", "not gzip");
    test::CapturedLog log;
    EXPECT_THROW(UnifontGlyphs{broken}, DisplayFontError);
}

// The installed GNU Unifont, as the display uses it.
TEST(DotMatrixRasterizer, SetsTextInTheInstalledUnifont) {
    const DotMatrixRasterizer rasterizer(UnifontGlyphs::shared(), DisplayFont::defaultFont());
    EXPECT_GT(UnifontGlyphs::shared().size(), 50000u);

    EXPECT_EQ(picture(rasterizer.rasterize("A"))[9], ".######..");

    // Accents, decomposed accents, CJK and an emoji outside the font's plane.
    const DotMatrix title = rasterizer.rasterize("Caf\u00E9 e\u0301 \u6771\u4EAC \U0001F3B5");
    EXPECT_EQ(std::tuple(title.width, title.height, title.characterCount, title.cellCount),
              std::tuple(13 * 9, 16, 11, 13));
}

} // namespace
} // namespace lorvan
