#include "support/TestSupport.hpp"

#include <QImage>
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using testing::HasSubstr;

/// Runs lorvan-cli with its settings in `configHome` and any extra `environment` assignments,
/// standard error discarded.
test::ProcessRun cli(const std::filesystem::path& configHome, const std::string& arguments,
                     const std::string& environment = "") {
    return test::runProcess(LORVAN_CLI, arguments,
                            environment + " XDG_CONFIG_HOME=" + test::shellQuoted(configHome));
}

TEST(ThemesCommand, ListsTheThemesMarksTheSelectedOneAndRefusesAnUnknownName) {
    const test::TemporaryDirectory home;
    // The order is the themes' own, checked with them; here the listing's layout and mark.
    const auto listed = cli(home.path(), "themes");
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(std::count(listed.out.begin(), listed.out.end(), '\n'), 28);
    EXPECT_TRUE(listed.out.starts_with("  Amber\n")) << listed.out;
    EXPECT_THAT(listed.out, HasSubstr("\n  Apple ][\n"));
    EXPECT_THAT(listed.out, HasSubstr("\n* VHS\n")) << "nothing stored: VHS";

    EXPECT_EQ(cli(home.path(), "themes --select 'LCD Newton'").status, 0);
    const auto after = cli(home.path(), "themes");
    EXPECT_THAT(after.out, HasSubstr("* LCD Newton\n"));
    EXPECT_THAT(after.out, HasSubstr("  VHS\n"));
    EXPECT_THAT(test::fileText(home.path() / "Lorvan" / "Lorvan.conf"),
                HasSubstr("selectedTheme=LCD Newton"));

    // Which names match is the themes' own business; here what a refusal prints.
    const auto refused = cli(home.path(), "themes --select 'lcd newton'");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, HasSubstr("The themes are: \"Amber\", \"Amplifier\""));
    EXPECT_THAT(refused.out, HasSubstr("\"Winamp\"."));
    EXPECT_EQ(cli(home.path(), "themes --select").status, 2);
    EXPECT_EQ(cli(home.path(), "themes --select 'Apple ]['").status, 0);
    EXPECT_THAT(cli(home.path(), "themes").out, HasSubstr("* Apple ][\n")) << "a refusal changes nothing";

    // The settings folder cannot be made inside a file, whoever runs the test.
    const auto blocked = home.write("not-a-folder", "x");
    const auto unsaved = cli(blocked, "themes --select 'Apple ]['");
    EXPECT_EQ(unsaved.status, 1);
    EXPECT_THAT(unsaved.out, HasSubstr("The theme \"Apple ][\" could not be saved to "));
}

// A listing that did not reach its reader is a failure, with a word on standard error.
TEST(ThemesCommand, AFailedWriteToStandardOutputExitsOne) {
    const test::TemporaryDirectory home;
    const std::string command =
        "XDG_CONFIG_HOME=" + test::shellQuoted(home.path()) + " " + test::shellQuoted(LORVAN_CLI) + " themes";
    const auto full = test::runProcess("/bin/sh", "-c " + test::shellQuoted(command + " 2>&1 >/dev/full"));
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.out, HasSubstr("lorvan-cli: cannot write to standard output: No space left on device."));
    // The reader is gone before anything is written.
    const auto closed =
        test::runProcess("/bin/sh", "-c " + test::shellQuoted("exec 3>&1; (sleep 1; " + command +
                                                              " 2>&3; echo \"exit $?\" >&3) | true"));
    EXPECT_THAT(closed.out, HasSubstr("cannot write to standard output: Broken pipe."));
    EXPECT_THAT(closed.out, HasSubstr("exit 1"));
}

TEST(ThemesCommand, WritesOnePreviewPerTheme) {
    const test::TemporaryDirectory home;
    const auto folder = home.path() / "previews" / "new";
    EXPECT_EQ(cli(home.path(), "themes --preview " + test::shellQuoted(folder)).status, 0);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++count;
        EXPECT_EQ(entry.path().extension(), ".png");
    }
    EXPECT_EQ(count, 28u);
    EXPECT_EQ(QImage(QString::fromStdString((folder / "VHS.png").string())).size(), QSize(1200, 548));
    EXPECT_FALSE(QImage(QString::fromStdString((folder / "Flynn (from PCalc).png").string())).isNull());

    const auto blocked = home.write("file", "not a folder");
    EXPECT_EQ(cli(home.path(), "themes --preview " + test::shellQuoted(blocked)).status, 1);
    const auto noGlyphs = cli(home.path(), "themes --preview " + test::shellQuoted(home.path() / "other"),
                              "LORVAN_UNIFONT_HEX=/nonexistent/unifont.hex");
    EXPECT_EQ(noGlyphs.status, 1);
    EXPECT_THAT(noGlyphs.out, HasSubstr("There is no glyph file at /nonexistent/unifont.hex."));
}

} // namespace
} // namespace lorvan
