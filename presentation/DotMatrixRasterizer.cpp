#include "presentation/DotMatrixRasterizer.hpp"

#include "core/Characters.hpp"
#include "core/LogEntry.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace lorvan {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// gzip is part of every Debian system, which spares the presentation layer a zlib dependency
// for a file that is compressed on some distributions only.
std::optional<std::string> readCompressed(const std::filesystem::path& path) {
    std::string command = "gzip -dc -- '";
    for (char c : path.string())
        command += c == '\'' ? std::string("'\\''") : std::string(1, c);
    command += "' 2>/dev/null";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) return std::nullopt;
    std::string bytes;
    char buffer[65536];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe.get())) > 0;)
        bytes.append(buffer, n);
    if (pclose(pipe.release()) != 0) return std::nullopt;
    return bytes;
}

bool isBoxDrawing(char32_t c) {
    return c >= 0x2500 && c <= 0x259F;
}

/// Characters that take no dots of their own: controls, format characters such as the zero-width
/// joiner, and variation selectors (Unifont draws those as labelled boxes).
bool isInvisible(char32_t c) {
    const auto type = u_charType(static_cast<UChar32>(c));
    return type == U_CONTROL_CHAR || type == U_FORMAT_CHAR || (c >= 0xFE00 && c <= 0xFE0F) ||
           (c >= 0xE0100 && c <= 0xE01EF);
}

bool isMark(char32_t c) {
    const auto type = u_charType(static_cast<UChar32>(c));
    return type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_COMBINING_SPACING_MARK;
}

std::vector<char32_t> codePoints(std::string_view cluster) {
    std::vector<char32_t> result;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(cluster.data());
    const auto length = static_cast<int32_t>(cluster.size());
    for (int32_t i = 0; i < length;) {
        UChar32 c = 0;
        U8_NEXT(bytes, i, length, c);
        result.push_back(c < 0 ? U'\uFFFD' : static_cast<char32_t>(c));
    }
    return result;
}

} // namespace

DisplayFontError::DisplayFontError(Kind kind, std::filesystem::path path)
    : LocalizedError("display glyphs unavailable: " + path.string())
    , kind_(kind)
    , path_(std::move(path)) {}

std::string DisplayFontError::kindName() const {
    switch (kind_) {
    case Kind::glyphFileMissing:
        return "glyphFileMissing";
    case Kind::glyphFileUnreadable:
        return "glyphFileUnreadable";
    case Kind::glyphFileMalformed:
        return "glyphFileMalformed";
    }
    return "unknown";
}

std::optional<std::string> DisplayFontError::errorDescription() const {
    return "The display font's glyphs could not be loaded";
}

std::optional<std::string> DisplayFontError::failureReason() const {
    switch (kind_) {
    case Kind::glyphFileMissing:
        return "There is no glyph file at " + path_.string() + ".";
    case Kind::glyphFileUnreadable:
        return "The glyph file " + path_.string() + " cannot be read.";
    case Kind::glyphFileMalformed:
        return "The glyph file " + path_.string() + " holds no glyphs in Unifont's hex format.";
    }
    return std::nullopt;
}

std::optional<std::string> DisplayFontError::recoverySuggestion() const {
    return "Install GNU Unifont (the Debian package \"unifont\"), or set LORVAN_UNIFONT_HEX to a unifont.hex "
           "file.";
}

UnifontGlyphs::UnifontGlyphs(const std::filesystem::path& hexFile)
    : path_(hexFile) {
    const auto fail = [&](DisplayFontError::Kind kind) {
        DisplayFontError error(kind, hexFile);
        LogEntry::error(error).print();
        throw error;
    };
    std::error_code ec;
    if (!std::filesystem::is_regular_file(hexFile, ec)) fail(DisplayFontError::Kind::glyphFileMissing);
    if (std::filesystem::file_size(hexFile, ec) > std::numeric_limits<std::uint32_t>::max())
        fail(DisplayFontError::Kind::glyphFileMalformed);
    index_.reserve(65536);
    if (hexFile.extension() == ".gz") {
        auto text = readCompressed(hexFile);
        if (!text) fail(DisplayFontError::Kind::glyphFileUnreadable);
        if (text->size() > std::numeric_limits<std::uint32_t>::max())
            fail(DisplayFontError::Kind::glyphFileMalformed);
        decompressed_ = std::move(*text);
        for (std::size_t start = 0; start < decompressed_.size();) {
            std::size_t end = decompressed_.find('\n', start);
            if (end == std::string::npos) end = decompressed_.size();
            index(std::string_view(decompressed_).substr(start, end - start),
                  static_cast<std::uint32_t>(start));
            start = end + 1;
        }
    } else {
        file_.open(hexFile, std::ios::binary);
        if (!file_) fail(DisplayFontError::Kind::glyphFileUnreadable);
        // Through one 64 KiB buffer, carrying a line cut at its end over to the next read. A
        // line longer than the buffer is no glyph: it is skipped to its end.
        std::vector<char> buffer(std::size_t{1} << 16);
        std::size_t kept = 0;
        std::uint32_t keptOffset = 0; // where buffer[0] is in the file
        bool skipping = false;
        for (bool more = true; more;) {
            file_.read(buffer.data() + kept, static_cast<std::streamsize>(buffer.size() - kept));
            const auto got = static_cast<std::size_t>(file_.gcount());
            more = got > 0;
            const std::string_view text(buffer.data(), kept + got);
            std::size_t start = 0;
            for (std::size_t end; (end = text.find('\n', start)) != std::string_view::npos; start = end + 1) {
                if (!std::exchange(skipping, false))
                    index(text.substr(start, end - start), keptOffset + static_cast<std::uint32_t>(start));
            }
            if (!more && !skipping && start < text.size())
                index(text.substr(start), keptOffset + static_cast<std::uint32_t>(start));
            if (start == 0 && text.size() == buffer.size()) {
                skipping = true;
                start = text.size();
            }
            kept = text.size() - start;
            std::memmove(buffer.data(), buffer.data() + start, kept);
            keptOffset += static_cast<std::uint32_t>(start);
        }
        if (file_.bad()) fail(DisplayFontError::Kind::glyphFileUnreadable);
        file_.clear();
    }
    if (index_.empty()) fail(DisplayFontError::Kind::glyphFileMalformed);
    std::stable_sort(index_.begin(), index_.end());
}

void UnifontGlyphs::index(std::string_view line, std::uint32_t offset) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0 || colon > 6) return;
    const std::size_t digits = line.size() - colon - 1;
    if (digits != 32 && digits != 64) return;
    char32_t code = 0;
    for (const char c : line.substr(0, colon)) {
        const int v = hexValue(c);
        if (v < 0) return;
        code = code * 16 + static_cast<char32_t>(v);
    }
    index_.push_back({code, offset + static_cast<std::uint32_t>(colon + 1), digits == 64});
}

std::filesystem::path UnifontGlyphs::defaultPath() {
    if (const char* overridden = std::getenv("LORVAN_UNIFONT_HEX"); overridden && *overridden)
        return overridden;
    const std::filesystem::path candidates[] = {"/usr/share/unifont/unifont.hex",
                                                "/usr/share/unifont/unifont.hex.gz"};
    for (const auto& candidate : candidates) {
        std::error_code ec;
        if (std::filesystem::is_regular_file(candidate, ec)) return candidate;
    }
    return candidates[0];
}

const UnifontGlyphs& UnifontGlyphs::shared() {
    static std::mutex mutex;
    static std::unique_ptr<UnifontGlyphs> glyphs;
    std::lock_guard lock(mutex);
    if (!glyphs) glyphs = std::make_unique<UnifontGlyphs>(defaultPath());
    return *glyphs;
}

std::string UnifontGlyphs::digits(const Line& line) const {
    const std::size_t count = line.wide ? 64 : 32;
    if (!decompressed_.empty()) return decompressed_.substr(line.digitsOffset, count);
    std::string digits(count, '\0');
    file_.clear();
    file_.seekg(line.digitsOffset);
    file_.read(digits.data(), static_cast<std::streamsize>(count));
    digits.resize(static_cast<std::size_t>(std::max<std::streamsize>(file_.gcount(), 0)));
    return digits;
}

std::optional<UnifontGlyph> UnifontGlyphs::glyph(char32_t codePoint) const {
    std::lock_guard lock(mutex_);
    if (const auto cached = cache_.find(codePoint); cached != cache_.end()) return cached->second;

    std::optional<UnifontGlyph> decoded;
    const auto it = std::lower_bound(index_.begin(), index_.end(), Line{codePoint, 0, false});
    if (it != index_.end() && it->codePoint == codePoint) {
        const std::string hex = digits(*it);
        UnifontGlyph g;
        g.width = it->wide ? 16 : 8;
        const std::size_t digitsPerRow = it->wide ? 4 : 2;
        // Digits that are not hex (or a file cut short since it was indexed) make no glyph.
        bool valid = hex.size() == 16 * digitsPerRow;
        for (std::size_t row = 0; valid && row < 16; ++row) {
            std::uint32_t bits = 0;
            for (std::size_t d = 0; d < digitsPerRow; ++d) {
                const int v = hexValue(hex[row * digitsPerRow + d]);
                valid = valid && v >= 0;
                bits = bits * 16 + static_cast<std::uint32_t>(std::max(v, 0));
            }
            g.rows[row] = static_cast<std::uint16_t>(it->wide ? bits : bits << 8);
        }
        if (valid) decoded = g;
    }
    cache_.emplace(codePoint, decoded);
    return decoded;
}

DotMatrixRasterizer::DotMatrixRasterizer(const UnifontGlyphs& glyphs, std::shared_ptr<const DisplayFont> font)
    : glyphs_(glyphs)
    , font_(std::move(font)) {}

DotMatrix DotMatrixRasterizer::rasterize(std::string_view text) const {
    const long cellWidth = font_->characterWidthInPixel();
    const long cellHeight = font_->characterHeightInPixel();

    struct Placed {
        long cell;
        long cells;
        std::vector<std::pair<UnifontGlyph, bool>> layers; // glyph, repeat the 9th column
    };
    std::vector<Placed> placed;
    DotMatrix matrix;

    std::string_view rest = text;
    while (!rest.empty()) {
        const std::string cluster = firstCharacter(rest);
        rest.remove_prefix(std::max<std::size_t>(cluster.size(), 1));
        ++matrix.characterCount;

        Placed p{matrix.cellCount, 1, {}};
        bool hasBase = false;
        for (const char32_t c : codePoints(cluster)) {
            if (c == U'\t' || (!hasBase && c == U'\n')) {
                hasBase = true; // a blank cell
                continue;
            }
            if (isInvisible(c)) continue;
            auto g = glyphs_.glyph(c);
            if (!g) g = glyphs_.glyph(U'\uFFFD');
            if (!g) continue;
            if (!hasBase && !isMark(c)) {
                hasBase = true;
                p.cells = g->width > 8 ? 2 : 1;
            }
            p.layers.emplace_back(*g, isBoxDrawing(c));
        }
        matrix.cellCount += p.cells;
        placed.push_back(std::move(p));
    }

    matrix.width = matrix.cellCount * cellWidth;
    matrix.height = cellHeight;
    matrix.dots.assign(static_cast<std::size_t>(matrix.width * matrix.height), 0);
    const long rows = std::min<long>(cellHeight, 16);
    for (const auto& p : placed) {
        const long cellLeft = p.cell * cellWidth;
        const long cellSpan = p.cells * cellWidth;
        for (const auto& [g, repeatLastColumn] : p.layers) {
            // Wide glyphs and marks narrower than their base are centred; an 8-pixel glyph
            // sits at its cell's left like on a VGA text screen.
            const long left = cellLeft + (p.cells > 1 ? (cellSpan - g.width) / 2 : 0);
            for (long y = 0; y < rows; ++y) {
                for (long x = 0; x < g.width && left + x < cellLeft + cellSpan; ++x)
                    if (g.pixel(static_cast<int>(x), static_cast<int>(y)))
                        matrix.dots[static_cast<std::size_t>(y * matrix.width + left + x)] = 1;
                // VGA repeats the 8th column of line-drawing characters so boxes join up.
                if (repeatLastColumn && g.width == 8 && cellWidth > 8 && g.pixel(7, static_cast<int>(y)))
                    matrix.dots[static_cast<std::size_t>(y * matrix.width + left + 8)] = 1;
            }
        }
    }
    return matrix;
}

} // namespace lorvan
