#include "core/Characters.hpp"
#include "core/IKErrorLocation.hpp"
#include "core/LogEntry.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

std::string before(const std::string& line, const std::string& separator) {
    return line.substr(0, line.find(separator));
}

TEST(Characters, CountsUserPerceivedCharacters) {
    EXPECT_EQ(characterCount(""), 0u);
    EXPECT_EQ(characterCount("Track 01"), 8u);
    EXPECT_EQ(characterCount("π"), 1u);
    EXPECT_EQ(characterCount("⦿"), 1u);
    EXPECT_EQ(characterCount("e\xCC\x81"), 1u);            // e + combining acute
    EXPECT_EQ(characterCount("\xF0\x9F\x8E\xB5"), 1u);     // musical note emoji
    EXPECT_EQ(characterCount("⁉️ Syntax Error"), 14u);     // emoji with variation selector
    EXPECT_EQ(characterCount("a\r\nb"), 3u);               // CR LF is one character
    EXPECT_EQ(characterCount("a\rb"), 3u);
    EXPECT_EQ(characterCount("Ελλάδα ≔ «Café» – ║═╗"), 21u);
    EXPECT_EQ(characterCount("α\xCC\x81β"), 2u);           // a combining mark after Greek joins it
    EXPECT_EQ(characterCount("➤\xEF\xB8\x8F"), 1u);         // arrow + variation selector
    EXPECT_EQ(characterCount("\xE6\x97\xA5\xE6\x9C\xAC"), 2u); // CJK
    EXPECT_EQ(characterCount("\xFF\xFE"), 2u);             // invalid bytes still count
    EXPECT_EQ(firstCharacter("e\xCC\x81x"), "e\xCC\x81");
    EXPECT_EQ(firstCharacter("=-"), "=");
    EXPECT_EQ(firstCharacter(""), "");
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

TEST(LogEntry, PadsTheLabelToTheValueColumn) {
    const auto line = LogEntry("➤", "Buffering Level", " 85 %").description();
    EXPECT_EQ(line, "➤ Buffering Level ······················· :  85 %");
    EXPECT_EQ(characterCount(before(line, ": ")), 42u);

    // 39 characters and no marker leave room for exactly one filler character.
    const std::string label39(39, 'x');
    EXPECT_EQ(LogEntry(std::nullopt, label39, "v").description(), label39 + " · : v");
}

TEST(LogEntry, LabelsThatFillOrOverflowTheColumnAreNotCut) {
    const std::string label38(38, 'x'); // 40 − 2 characters of marker part: no filler at all
    const auto line = LogEntry("⦿", label38, "v").description();
    EXPECT_EQ(line, "⦿ " + label38 + " : v");
    EXPECT_EQ(characterCount(before(line, ": ")), 41u);

    const std::string label60(60, 'y');
    EXPECT_EQ(LogEntry(std::nullopt, label60, "v").description(), label60 + " : v");
}

TEST(LogEntry, NormalisesContextAndFiller) {
    EXPECT_EQ(LogEntry(std::nullopt, "Label").description(), "Label");     // no value: no padding, no colon
    EXPECT_EQ(LogEntry("⦿", "Label").description(), "⦿ Label");
    EXPECT_EQ(LogEntry("", "Label", "v").description().substr(0, 6), " Label"); // empty context: one space
    EXPECT_EQ(LogEntry("⦿➤", "L", "v").context(), "⦿");
    EXPECT_EQ(LogEntry(std::nullopt, "L", "v", "").filler(), "·");
    EXPECT_EQ(LogEntry(std::nullopt, "L", "v", "=-").description(), "L " + std::string(39, '=') + " : v");
    EXPECT_EQ(LogEntry(std::nullopt, "Combining", "v", "e\xCC\x81x").filler(), "e\xCC\x81");
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
    const auto warning = LogEntry::warning("Rate out of range");
    EXPECT_EQ(warning.label(), "✦ Warning");
    EXPECT_EQ(warning.filler(), "-");
    EXPECT_EQ(warning.value(), "Rate out of range");

    const auto error = LogEntry::error(SampleError("No audio file found"), "⦿");
    EXPECT_EQ(error.label(), "! Error");
    EXPECT_EQ(error.value(), "Invalid Cue Sheet file | 'No audio file found'");
    EXPECT_EQ(error.description(), "⦿ ! Error " + std::string(31, '-') + " : Invalid Cue Sheet file | 'No audio file found'");
    EXPECT_EQ(LogEntry::error(SampleError(std::nullopt)).value(), "Invalid Cue Sheet file");
}

TEST(LogEntry, PrintWritesOneLineToTheConsoleLog) {
    test::CapturedLog captured;
    LogEntry("⦿", "Decoding cue file", "a.cue").print();
    log("Title", "Demo");
    ASSERT_EQ(captured.lines().size(), 2u);
    EXPECT_EQ(captured.lines()[0], LogEntry("⦿", "Decoding cue file", "a.cue").description());
    EXPECT_EQ(captured.lines()[1].substr(0, 10), "⦿ Title ");
}

TEST(Indent, NestsByFourColumnsWithTheMarkerInTheThird) {
    EXPECT_EQ(indent(0, "⦿"), "");
    EXPECT_EQ(indent(-3, "⦿"), "");
    EXPECT_EQ(indent(1), "    ");
    EXPECT_EQ(indent(1, ""), "    ");
    EXPECT_EQ(indent(1, "⦿"), "  ⦿ ");
    EXPECT_EQ(indent(3, "⦿"), "          ⦿ ");
    EXPECT_EQ(indent(2, "➤⦿"), "      ➤ ");
}

TEST(IndentDeathTest, LevelsBeyondTwoToTheSixtyFirstAreFatal) {
    EXPECT_DEATH((void)indent((1L << 61) + 1), "indentation level");
}

TEST(OperationFailure, FourLinesWithAndWithoutAFile) {
    const IKErrorLocation at{"/src/platform/FFmpegAudioFile.cpp", 120};
    EXPECT_EQ(operationFailureText("ExtAudioFileOpenURL", std::string("file:///m/a.flac"), -1094995529,
                                   "Invalid data", at, "init(url:)"),
              "Operation 'ExtAudioFileOpenURL' on audio file 'file:///m/a.flac' failed with error 'Invalid data'.\n"
              "  ┣ Source file ... : /src/platform/FFmpegAudioFile.cpp\n"
              "  ┣ Line .......... : 120\n"
              "  ┗ Function ...... : init(url:)\n");
    const auto text = operationFailureText("AudioFileClose", std::nullopt, -5, "Input/output error", at,
                                           "closeAndDispose()");
    EXPECT_EQ(before(text, "\n"), "Operation 'AudioFileClose' failed with error -5 'Input/output error'.");
}

} // namespace
} // namespace lorvan
