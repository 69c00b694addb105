#include "support/TestSupport.hpp"

#include <QImage>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

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

TEST(ThemesCommand, ListsTheThemesInOrderAndMarksTheSelectedOne) {
    const test::TemporaryDirectory home;
    const auto listed = cli(home.path(), "themes");
    EXPECT_EQ(listed.status, 0);
    std::istringstream lines(listed.out);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);)
        names.push_back(line);
    ASSERT_EQ(names.size(), 28u);
    EXPECT_EQ(names.front(), "  Amber");
    EXPECT_EQ(names[3], "  Apple ][");
    EXPECT_EQ(names[23], "* VHS") << "nothing stored: VHS";
    EXPECT_EQ(names.back(), "  Winamp");

    EXPECT_EQ(cli(home.path(), "themes --select 'LCD Newton'").status, 0);
    const auto after = cli(home.path(), "themes");
    EXPECT_THAT(after.out, HasSubstr("* LCD Newton\n"));
    EXPECT_THAT(after.out, HasSubstr("  VHS\n"));

    EXPECT_THAT(test::fileText(home.path() / "Lorvan" / "Lorvan.conf"), HasSubstr("selectedTheme=LCD Newton"));
}

TEST(ThemesCommand, RefusesAnUnknownNameAndListsTheKnownOnes) {
    const test::TemporaryDirectory home;
    EXPECT_EQ(cli(home.path(), "themes --select 'Apple ]['").status, 0);
    for (const char* name : {"'lcd newton'", "Nope", "''"}) {
        const auto run = cli(home.path(), std::string("themes --select ") + name);
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_THAT(run.out, HasSubstr("The themes are: \"Amber\", \"Amplifier\"")) << name;
        EXPECT_THAT(run.out, HasSubstr("\"Winamp\".")) << name;
    }
    EXPECT_THAT(cli(home.path(), "themes").out, HasSubstr("* Apple ][\n")) << "a refusal changes nothing";
    EXPECT_EQ(cli(home.path(), "themes --select").status, 2);
}

TEST(ThemesCommand, WritesOnePreviewPerTheme) {
    const test::TemporaryDirectory home;
    const auto folder = home.path() / "previews" / "new";
    const auto run = cli(home.path(), "themes --preview '" + folder.string() + "'");
    EXPECT_EQ(run.status, 0);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++count;
        EXPECT_EQ(entry.path().extension(), ".png");
    }
    EXPECT_EQ(count, 28u);
    const QImage vhs(QString::fromStdString((folder / "VHS.png").string()));
    EXPECT_EQ(vhs.size(), QSize(1200, 548));
    EXPECT_FALSE(QImage(QString::fromStdString((folder / "Flynn (from PCalc).png").string())).isNull());

    const auto blocked = home.write("file", "not a folder");
    EXPECT_EQ(cli(home.path(), "themes --preview '" + blocked.string() + "'").status, 1);

    const auto noGlyphs = cli(home.path(), "themes --preview '" + (home.path() / "other").string() + "'",
                              "LORVAN_UNIFONT_HEX=/nonexistent/unifont.hex");
    EXPECT_EQ(noGlyphs.status, 1);
    EXPECT_THAT(noGlyphs.out, HasSubstr("There is no glyph file at /nonexistent/unifont.hex."));
}

} // namespace
} // namespace lorvan
