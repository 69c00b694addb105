#include "platform/QtUserDefaults.hpp"
#include "support/TestSupport.hpp"

#include <cstdlib>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

// Qt fixes its settings folders the first time a QSettings is made, so the temporary config
// home has to be in place before any test runs.
const test::TemporaryDirectory& configHome() {
    static const test::TemporaryDirectory directory;
    return directory;
}
const bool configured = [] { return ::setenv("XDG_CONFIG_HOME", configHome().path().c_str(), 1) == 0; }();

TEST(QtUserDefaults, KeepsValuesInTheXdgConfigFile) {
    ASSERT_TRUE(configured);
    const auto file = configHome().path() / "Lorvan" / "Lorvan.conf";
    {
        QtUserDefaults defaults;
        EXPECT_EQ(defaults.fileName(), file.string());
        EXPECT_EQ(defaults.string("selectedTheme"), std::nullopt);
        defaults.setString("selectedTheme", "Apple ][");
        defaults.setString("title", "Caf\u00E9 \u6771\u4EAC = 1; [x]");
        defaults.setString("emptyValue", "");
        EXPECT_EQ(defaults.string("selectedTheme"), "Apple ][");
    }
    ASSERT_TRUE(std::filesystem::exists(file)) << "values are written at once";
    EXPECT_NE(test::fileText(file).find("selectedTheme"), std::string::npos);

    const QtUserDefaults reopened;
    EXPECT_EQ(reopened.string("selectedTheme"), "Apple ][");
    EXPECT_EQ(reopened.string("title"), "Caf\u00E9 \u6771\u4EAC = 1; [x]");
    EXPECT_EQ(reopened.string("SelectedTheme"), std::nullopt) << "keys are case-sensitive";
    EXPECT_EQ(reopened.string("emptyValue"), "") << "an empty text is present, not absent";
}

} // namespace
} // namespace lorvan
