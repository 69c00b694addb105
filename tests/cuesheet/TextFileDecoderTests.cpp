#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/TextFileDecoder.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lorvan {
namespace {

using testing::ElementsAre;
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

std::string refusalText(const LocalizedError& error) {
    return error.errorDescription().value_or("") + ": " + error.failureReason().value_or("");
}

struct Decoded {
    std::string text;
    std::vector<std::string> steps;
};

Decoded decodeFile(std::string_view bytes) {
    test::TemporaryDirectory directory;
    const auto path = directory.write("sheet.cue", bytes);
    test::CapturedLog log;
    Decoded decoded;
    decoded.text = TextFileDecoder::decode(Url::fileURL(path));
    decoded.steps = decodingSteps(log);
    EXPECT_TRUE(log.contains("sheet.cue"));
    return decoded;
}

TEST(TextFileDecoder, PlainAsciiAndUtf8AreTheFirstAttempt) {
    EXPECT_THAT(decodeFile("TITLE \"x\"\n").steps, ElementsAre("Succ Unicode (UTF-8)"));
    const auto accented = decodeFile("TITLE \"Caf\xC3\xA9\"\n");
    EXPECT_EQ(accented.text, "TITLE \"Café\"\n");
    // A UTF-8 byte order mark stays in the text; the parser removes it.
    EXPECT_EQ(decodeFile("\xEF\xBB\xBFREM").text, "\xEF\xBB\xBFREM");
}

TEST(TextFileDecoder, Utf16NeedsAByteOrderMarkInEitherOrder) {
    const std::string little("\xFF\xFEP\0I\0\xC0\x03", 8); // "PI" + U+03C0
    const auto decodedLittle = decodeFile(little);
    EXPECT_EQ(decodedLittle.text, "PIπ");
    EXPECT_THAT(decodedLittle.steps, ElementsAre("Unsu Unicode (UTF-8)", "Succ Unicode (UTF-16)"));

    const std::string big("\xFE\xFF\0P\x03\xC0", 6);
    EXPECT_EQ(decodeFile(big).text, "Pπ");

    // 8-bit text without a mark must not come out as CJK: it is ISO Latin-1. An odd length
    // fails as UTF-16 anyway, so only the even one shows that the mark is required.
    for (const auto& [bytes, text] : std::vector<std::pair<std::string, std::string>>{
             {"Caf\xE9 au lait", "Café au lait"}, {"Caf\xE9 au lait\xE9", "Café au laité"}}) {
        SCOPED_TRACE(bytes.size());
        const auto latin = decodeFile(bytes);
        EXPECT_EQ(latin.text, text);
        EXPECT_THAT(latin.steps, ElementsAre("Unsu Unicode (UTF-8)", "Unsu Unicode (UTF-16)",
                                             "Succ Western (ISO Latin 1)"));
    }
}

TEST(TextFileDecoder, BrokenUtf16FallsThroughToLatin1) {
    const std::string unpairedSurrogate("\xFF\xFE\x41\xDC\x42\x20", 6); // a lone low surrogate
    const auto decoded = decodeFile(unpairedSurrogate);
    EXPECT_THAT(decoded.steps.back(), "Succ Western (ISO Latin 1)");
    EXPECT_EQ(decoded.text, "ÿþAÜB ");
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
    EXPECT_EQ(decodeFile(largest).text.size(), largest.size()) << "the limit itself is accepted";
    {
        test::CapturedLog log;
        const auto error = refusal(directory.write("large.cue", largest + "\n"));
        EXPECT_EQ(error.kind(), TextFileDecoderError::Kind::fileTooLarge);
        EXPECT_EQ(refusalText(error),
                  "Not a cue sheet: 'large.cue' is larger than 1 MiB, far more than any cue sheet.");
    }
    // NUL bytes in Latin-1 or UTF-8 text (an audio file named as a sheet); UTF-16 with its mark
    // keeps its zero bytes and is text.
    for (const std::string& bytes : {std::string("fLaC\0\0\0\x22\xFF", 9), std::string("REM\0", 4)}) {
        test::CapturedLog log;
        const auto error = refusal(directory.write("binary.cue", bytes));
        EXPECT_EQ(error.kind(), TextFileDecoderError::Kind::notText);
        EXPECT_EQ(log.text().find('\0'), std::string::npos) << "the bytes never reach the log";
        EXPECT_EQ(log.text().find("fLaC"), std::string::npos);
    }
    EXPECT_EQ(decodeFile(std::string("\xFF\xFER\0", 4)).text, "R");
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
