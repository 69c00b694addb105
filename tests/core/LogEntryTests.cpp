#include "core/Characters.hpp"
#include "core/IKErrorLocation.hpp"
#include "core/LogEntry.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(Characters, CountsUserPerceivedCharacters) {
    // Combining marks and variation selectors join the character before them, CR LF is one
    // character, and invalid bytes count one each.
    const std::pair<const char*, std::size_t> counts[]{
        {"", 0},          {"Track 01", 8},       {"π", 1},        {"⦿", 1},
        {"e\xCC\x81", 1}, {"\xF0\x9F\x8E\xB5", 1}, {"⁉️ Syntax Error", 14}, {"a\r\nb", 3},
        {"a\rb", 3},      {"Ελλάδα ≔ «Café» – ║═╗", 21}, {"α\xCC\x81β", 2}, {"➤\xEF\xB8\x8F", 1},
        {"\xE6\x97\xA5\xE6\x9C\xAC", 2}, {"\xFF\xFE", 2}};
    for (const auto& [text, count] : counts)
        EXPECT_EQ(characterCount(text), count) << text;
    EXPECT_EQ(firstCharacter("e\xCC\x81x"), "e\xCC\x81");
    EXPECT_EQ(firstCharacter("=-"), "=");
    EXPECT_EQ(firstCharacter(""), "");
}

TEST(Characters, ControlCharactersAreShownEscapedAndNothingElseChanges) {
    // An OSC that retitles the window and a CSI that clears the screen, as a cue sheet's TITLE
    // can carry them; the 8-bit CSI (U+009B) acts on some terminals too.
    EXPECT_EQ(escapedControlCharacters("\x1b]0;pwned\a\x1b[2J"), "\\x1B]0;pwned\\x07\\x1B[2J");
    EXPECT_EQ(escapedControlCharacters("a\rb\x7F\x01\x1F"), "a\\x0Db\\x7F\\x01\\x1F");
    EXPECT_EQ(escapedControlCharacters("\xC2\x9B"
                                       "2J \xC2\x80\xC2\x9F"),
              "\\u009B2J \\u0080\\u009F");
    // Line feeds and tabs lay out multi-line blocks; U+00A0 and U+00FF share the lead byte of the
    // C1 controls and are text, like every other character.
    for (const char* text :
         {"Track 01\tCaf\xC3\xA9\nnext", "Cue\xC2\xA0Sheet \xC3\xBF", "", "\xF0\x9F\x8E\xB5 \\x1B"})
        EXPECT_EQ(escapedControlCharacters(text), text);
    EXPECT_EQ(escapedControlCharacters(std::string("a\0b", 3)), "a\\x00b");

    test::CapturedLog log;
    lorvan::log("Title", "\x1b]0;pwned\a");
    EXPECT_EQ(log.text().find('\x1b'), std::string::npos) << "the console log writes them escaped";
    EXPECT_TRUE(log.contains("\\x1B]0;pwned\\x07"));
}

TEST(IKErrorLocation, StampsLastPathComponentAndZeroPaddedLine) {
    EXPECT_EQ((IKErrorLocation{"/src/disc/AudioDiscData", 35}.description()), "<AudioDiscData:0035>");
    EXPECT_EQ((IKErrorLocation{"AudioDiscData", 12345}.description()), "<AudioDiscData:12345>");
    EXPECT_EQ((IKErrorLocation{"/a/b.cpp", 7}.description()), "<b.cpp:0007>");
    EXPECT_EQ((IKErrorLocation{"/a/b.cpp", -7}.description()), "<b.cpp:-007>");
    const auto here = IKErrorLocation::here();
    EXPECT_EQ(here.codeFileLine, __LINE__ - 1);
    EXPECT_NE(here.codeFilePath.find("LogEntryTests.cpp"), std::string::npos);
}

// The value column starts after 42 characters (marker part, label, filler), counted as the user
// sees them; labels that reach it are never cut.
TEST(LogEntry, LayoutsPadTheLabelToTheValueColumn) {
    struct Row {
        std::optional<std::string> context;
        std::string label;
        std::optional<std::string> value;
        std::string filler, expected;
    };
    const std::string x38(38, 'x'), x39(39, 'x'), y60(60, 'y');
    const Row rows[]{
        {"➤", "Buffering Level", " 85 %", "·", "➤ Buffering Level ······················· :  85 %"},
        {std::nullopt, x39, "v", "·", x39 + " · : v"}, // room for exactly one filler
        {"⦿", x38, "v", "·", "⦿ " + x38 + " : v"},    // no room for a filler
        {std::nullopt, y60, "v", "·", y60 + " : v"},
        {std::nullopt, "Label", std::nullopt, "·", "Label"}, // no value: no padding, no colon
        {"⦿", "Label", std::nullopt, "·", "⦿ Label"},
        {"⦿➤", "Label", std::nullopt, "·", "⦿ Label"}, // the context is cut to one character
        {"", "Label", std::nullopt, "·", " Label"},     // an empty context is one space
        // A filler is cut to its first character, combining marks included; none means "·".
        {std::nullopt, "L", "v", "", "L " + repeated("·", 39) + " : v"},
        {std::nullopt, "L", "v", "=-", "L " + repeated("=", 39) + " : v"},
        {std::nullopt, "L", "v", "e\xCC\x81x", "L " + repeated("e\xCC\x81", 39) + " : v"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LogEntry(row.context, row.label, row.value, row.filler).description(), row.expected);
}

struct SampleError : LocalizedError {
    SampleError(std::optional<std::string> reason) : LocalizedError("sample"), reason_(std::move(reason)) {}
    std::string typeName() const override { return "SampleError"; }
    std::string kindName() const override { return "sample"; }
    std::optional<std::string> errorDescription() const override { return "Invalid Cue Sheet file"; }
    std::optional<std::string> failureReason() const override { return reason_; }
    std::optional<std::string> reason_;
};

TEST(LogEntry, WarningAndErrorLines) {
    EXPECT_EQ(LogEntry::warning("Rate out of range").description(),
              "✦ Warning " + std::string(31, '-') + " : Rate out of range");
    const auto error = LogEntry::error(SampleError("No audio file found"), "⦿");
    EXPECT_EQ(error.description(), "⦿ ! Error " + std::string(31, '-') + " : Invalid Cue Sheet file | 'No audio file found'");
    EXPECT_EQ(LogEntry::error(SampleError(std::nullopt)).value(), "Invalid Cue Sheet file");
}

TEST(Indent, NestsByFourColumnsWithTheMarkerInTheThird) {
    for (const auto& [level, marker, text] :
         {std::tuple{0L, "⦿", ""}, {-3L, "⦿", ""}, {1L, "", "    "}, {1L, "⦿", "  ⦿ "}, {3L, "⦿", "          ⦿ "},
          {2L, "➤⦿", "      ➤ "}})
        EXPECT_EQ(indent(level, marker), text) << level << " " << marker;
    EXPECT_EQ(indent(1), "    ");
}

TEST(IndentDeathTest, LevelsBeyondTwoToTheSixtyFirstAreFatal) {
    EXPECT_DEATH((void)indent((1L << 61) + 1), "indentation level");
}

// Without a file, the platform tests check the first line through the status that prints it.
TEST(OperationFailure, FourLinesWithTheFile) {
    const IKErrorLocation at{"/src/platform/FFmpegAudioFile.cpp", 120};
    EXPECT_EQ(operationFailureText("ExtAudioFileOpenURL", std::string("file:///m/a.flac"), -1094995529,
                                   "Invalid data", at, "init(url:)"),
              "Operation 'ExtAudioFileOpenURL' on audio file 'file:///m/a.flac' failed with error 'Invalid data'.\n"
              "  ┣ Source file ... : /src/platform/FFmpegAudioFile.cpp\n"
              "  ┣ Line .......... : 120\n"
              "  ┗ Function ...... : init(url:)\n");
}

} // namespace
} // namespace lorvan
