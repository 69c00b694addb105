#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/TextFileDecoder.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

    // Even-length 8-bit text without a mark must not come out as CJK: it is ISO Latin-1.
    const auto latin = decodeFile("Caf\xE9 au lait\xE9");
    EXPECT_EQ(latin.text, "Café au laité");
    EXPECT_THAT(latin.steps,
                ElementsAre("Unsu Unicode (UTF-8)", "Unsu Unicode (UTF-16)", "Succ Western (ISO Latin 1)"));
}

TEST(TextFileDecoder, BrokenUtf16FallsThroughToLatin1) {
    const std::string unpairedSurrogate("\xFF\xFE\x00\xD8\x41\x00", 6);
    const auto decoded = decodeFile(unpairedSurrogate);
    EXPECT_THAT(decoded.steps.back(), "Succ Western (ISO Latin 1)");
    EXPECT_EQ(decoded.text, std::string("ÿþ\0Ø" "A\0", 9));
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
