#pragma once

#include "core/LocalizedError.hpp"
#include "presentation/DisplayFont.hpp"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lorvan {

/// Why the display's glyphs could not be loaded.
class DisplayFontError : public LocalizedError {
public:
    enum class Kind { glyphFileMissing, glyphFileUnreadable, glyphFileMalformed };

    DisplayFontError(Kind kind, std::filesystem::path path);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    [[nodiscard]] std::string typeName() const override { return "DisplayFontError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override;
    [[nodiscard]] std::optional<std::string> recoverySuggestion() const override;

private:
    Kind kind_;
    std::filesystem::path path_;
};

/// One bitmap glyph: 16 rows of 8 or 16 pixels; bit 15 of a row is its leftmost pixel.
struct UnifontGlyph {
    int width = 8;
    std::array<std::uint16_t, 16> rows{};

    [[nodiscard]] bool pixel(int x, int y) const {
        return (rows[static_cast<std::size_t>(y)] >> (15 - x)) & 1u;
    }
};

/// The glyphs of GNU Unifont's ".hex" format ("0041:0000000018242442427E424242420000"), one
/// line per code point of the Basic Multilingual Plane. The constructor indexes the file's lines
/// in one pass through a small buffer; a glyph's digits are read from the file and decoded the
/// first time it is asked for, so the 3.7 MB font never sits in memory (a display shows a few
/// dozen glyphs). A compressed file is kept decompressed in memory. Thread-safe.
class UnifontGlyphs {
public:
    /// Indexes `hexFile` (plain or gzip-compressed); throws `DisplayFontError` when it is
    /// missing or unreadable, and logs the error first.
    explicit UnifontGlyphs(const std::filesystem::path& hexFile);

    /// Where the glyphs are installed: $LORVAN_UNIFONT_HEX if set, else Debian's unifont.hex
    /// (or its compressed form). Returns the first candidate when none exists.
    [[nodiscard]] static std::filesystem::path defaultPath();
    /// The glyphs at `defaultPath()`, loaded on first use; throws like the constructor (and
    /// tries again on the next call).
    [[nodiscard]] static const UnifontGlyphs& shared();

    /// The glyph of `codePoint`, or nothing when the font has none.
    [[nodiscard]] std::optional<UnifontGlyph> glyph(char32_t codePoint) const;
    /// Number of glyphs in the file.
    [[nodiscard]] std::size_t size() const { return index_.size(); }

private:
    struct Line {
        char32_t codePoint;
        std::uint32_t digitsOffset; // where its hex digits start in the file
        bool wide;                  // 64 digits (16 pixels a row) rather than 32
        friend bool operator<(const Line& a, const Line& b) { return a.codePoint < b.codePoint; }
    };
    /// Notes the line that starts at `offset` when it is a glyph.
    void index(std::string_view line, std::uint32_t offset);
    /// The glyph's digits, or fewer when the file was cut short since. With `mutex_` held.
    [[nodiscard]] std::string digits(const Line& line) const;

    std::filesystem::path path_;
    std::string decompressed_; // a compressed file's text; empty for a plain file
    std::vector<Line> index_;  // sorted by code point
    mutable std::mutex mutex_;
    mutable std::ifstream file_; // a plain file, open for the glyphs' digits
    mutable std::unordered_map<char32_t, std::optional<UnifontGlyph>> cache_;
};

/// The lit dots of a rasterised text, row by row, top row first.
struct DotMatrix {
    long width = 0;
    long height = 0;
    /// Grapheme clusters (user-perceived characters) set.
    long characterCount = 0;
    /// Character cells used: one per cluster, two for a double-width one.
    long cellCount = 0;
    std::vector<std::uint8_t> dots; // 1 = lit

    [[nodiscard]] bool lit(long x, long y) const {
        return x >= 0 && y >= 0 && x < width && y < height &&
               dots[static_cast<std::size_t>(y * width + x)] != 0;
    }
};

/// Sets UTF-8 text in the display font's cells, the way a character LCD would: every
/// user-perceived character takes one cell (two for wide CJK glyphs), its 8-pixel glyph at the
/// cell's left, combining marks drawn over their base, and anything the font lacks shown as
/// U+FFFD. Control and format characters take no dots.
class DotMatrixRasterizer {
public:
    DotMatrixRasterizer(const UnifontGlyphs& glyphs, std::shared_ptr<const DisplayFont> font);

    [[nodiscard]] DotMatrix rasterize(std::string_view text) const;
    [[nodiscard]] const DisplayFont& font() const { return *font_; }

private:
    const UnifontGlyphs& glyphs_;
    std::shared_ptr<const DisplayFont> font_;
};

} // namespace lorvan
