#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/TextFileDecoder.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lorvan {
namespace {

using testing::HasSubstr;

/// The decoding lines of the log, without the value column padding.
std::vector<std::string> decodingSteps(const test::CapturedLog& log) {
    std::vector<std::string> steps;
    for (const auto& line : log.lines()) {
        for (const char* label : {"Successfully decoded with", "Unsucessfull decoding with"}) {
            if (line.find(label) == std::string::npos) continue;
            steps.push_back(std::string(label).substr(0, 4) + " " + line.substr(line.find(": ") + 2));
        }
    }
    return steps;
}

// Each row: the bytes, the text they decode to and the encodings tried on the way.
TEST(TextFileDecoder, TriesUtf8ThenUtf16WithItsMarkThenLatin1) {
    const std::vector<std::string> utf8{"Succ Unicode (UTF-8)"};
    const std::vector<std::string> utf16{"Unsu Unicode (UTF-8)", "Succ Unicode (UTF-16)"};
    const std::vector<std::string> latin1{"Unsu Unicode (UTF-8)", "Unsu Unicode (UTF-16)",
                                          "Succ Western (ISO Latin 1)"};
    const struct {
        std::string bytes, text;
        std::vector<std::string> steps;
    } rows[]{
        {"TITLE \"Caf\xC3\xA9\"\n", "TITLE \"Café\"\n", utf8},
        // A UTF-8 byte order mark stays in the text; the parser removes it.
        {"\xEF\xBB\xBFREM", "\xEF\xBB\xBFREM", utf8},
        {std::string("\xFF\xFEP\0I\0\xC0\x03", 8), "PIπ", utf16},
        {std::string("\xFE\xFF\0P\x03\xC0", 6), "Pπ", utf16},
        // UTF-16 with its mark keeps its zero bytes and is text, not binary.
        {std::string("\xFF\xFER\0", 4), "R", utf16},
        // 8-bit text without a mark must not come out as CJK. An odd length fails as UTF-16
        // anyway, so only the even one shows that the mark is required.
        {"Caf\xE9 au lait", "Café au lait", latin1},
        {"Caf\xE9 au lait\xE9", "Café au laité", latin1},
        // A lone low surrogate breaks the UTF-16 reading.
        {std::string("\xFF\xFE\x41\xDC\x42\x20", 6), "ÿþAÜB ", latin1},
    };
    test::TemporaryDirectory directory;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto path = directory.write("sheet.cue", row.bytes);
        test::CapturedLog log;
        EXPECT_EQ(TextFileDecoder::decode(Url::fileURL(path)), row.text);
        EXPECT_EQ(decodingSteps(log), row.steps);
        EXPECT_TRUE(log.contains("sheet.cue"));
    }
}

TextFileDecoderError refusal(const std::filesystem::path& path) {
    return test::thrown<TextFileDecoderError>([&] { (void)TextFileDecoder::decode(Url::fileURL(path)); });
}

TEST(TextFileDecoder, WhatIsNotARegularFileIsRefusedBeforeItIsOpened) {
    test::TemporaryDirectory directory;
    const auto fifo = directory.path() / "pipe.cue";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_directory(directory.path() / "folder.cue");
    std::filesystem::create_symlink(fifo, directory.path() / "link.cue");
    // Opening the pipe would block this test for ever; /dev/zero would fill the memory.
    for (const auto& path : {fifo, directory.path() / "folder.cue", directory.path() / "link.cue",
                             std::filesystem::path("/dev/zero")}) {
        SCOPED_TRACE(path);
        test::CapturedLog log;
        const auto error = refusal(path);
        EXPECT_EQ(error.kind(), TextFileDecoderError::Kind::notARegularFile);
        EXPECT_EQ(error.value(), path.filename().string());
        EXPECT_THAT(*error.failureReason(), HasSubstr("is not a regular file"));
        EXPECT_TRUE(decodingSteps(log).empty()) << "nothing is decoded";
        EXPECT_THAT(log.text(), HasSubstr("Not a cue sheet"));
    }
}

TEST(TextFileDecoder, SheetsAboveOneMebibyteAndBinaryAreRefused) {
    test::TemporaryDirectory directory;
    const std::string largest(TextFileDecoderError::maximumFileSize, '\n');
    EXPECT_EQ(TextFileDecoder::decode(Url::fileURL(directory.write("largest.cue", largest))).size(),
              largest.size())
        << "the limit itself is accepted";
    const auto large = refusal(directory.write("large.cue", largest + "\n"));
    EXPECT_EQ(large.kind(), TextFileDecoderError::Kind::fileTooLarge);
    EXPECT_EQ(large.errorDescription(), "Not a cue sheet");
    EXPECT_EQ(large.failureReason(), "'large.cue' is larger than 1 MiB, far more than any cue sheet.");
    // NUL bytes in Latin-1 or UTF-8 text: an audio file named as a sheet.
    for (const std::string& bytes : {std::string("fLaC\0\0\0\x22\xFF", 9), std::string("REM\0", 4)}) {
        test::CapturedLog log;
        const auto error = refusal(directory.write("binary.cue", bytes));
        EXPECT_EQ(error.kind(), TextFileDecoderError::Kind::notText);
        EXPECT_EQ(error.failureReason(),
                  "'binary.cue' holds binary data (NUL bytes), not the text of a cue sheet.");
        EXPECT_EQ(log.text().find('\0'), std::string::npos) << "the bytes never reach the log";
        EXPECT_EQ(log.text().find("fLaC"), std::string::npos);
    }
}

TEST(TextFileDecoder, AnUnreadableFileFailsEverySevenEncodings) {
    test::TemporaryDirectory directory;
    test::CapturedLog log;
    const auto error = test::thrown<CueSheetError>(
        [&] { (void)TextFileDecoder::decode(Url::fileURL(directory.path() / "missing.cue")); });
    EXPECT_EQ(error.kind(), CueSheetError::Kind::dummy);
    EXPECT_FALSE(error.line());
    const auto steps = decodingSteps(log);
    ASSERT_EQ(steps.size(), 7u);
    EXPECT_EQ(steps.back(), "Unsu Western (ASCII)");
    EXPECT_EQ(std::count_if(steps.begin(), steps.end(), [](auto& s) { return s.starts_with("Unsu"); }), 7);
    EXPECT_THAT(log.text(), HasSubstr("⁉️ Syntax Error"));
}

} // namespace
} // namespace lorvan
