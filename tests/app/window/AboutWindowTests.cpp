#include "WindowTestSupport.hpp"
#include "app/identity/Identity.hpp"
#include "app/window/AboutWindow.hpp"

#include <QLabel>
#include <gtest/gtest.h>
#include <map>

namespace lorvan {
namespace {

QStringList labelTexts(const QWidget& widget) {
    QStringList texts;
    for (const QLabel* label : widget.findChildren<QLabel*>())
        texts << label->text();
    return texts;
}

TEST(AboutWindow, NamesVersionAndEveryShippedOrLinkedPartWithItsLicence) {
    test::application();
    // Made without a version, it shows the one this build was made from.
    const std::string_view built = identity::version();
    ASSERT_FALSE(built.empty());
    const AboutWindow ofThisBuild;
    EXPECT_TRUE(labelTexts(ofThisBuild)
                    .contains("Version " + QString::fromUtf8(built.data(), qsizetype(built.size()))));
    EXPECT_EQ(ofThisBuild.windowTitle(), "About Lorvan");

    AboutWindow window("1.2.3-4-gabcdef0", nullptr);
    const QStringList texts = labelTexts(window);
    EXPECT_TRUE(texts.contains("Lorvan"));
    EXPECT_TRUE(texts.contains("Version 1.2.3-4-gabcdef0"));
    for (const char* part : {"GNU Unifont", "DSEG", "Qt 6", "FFmpeg", "TagLib", "libsoxr", "PortAudio", "ICU",
                             "OpenSSL", "nlohmann/json"})
        EXPECT_TRUE(texts.contains(part)) << part;
    // Each licence shown beside its part; the three whose licence differs from the usual guess.
    const std::map<QString, QString> licences{{"DSEG", "SIL Open Font License 1.1"},
                                              {"OpenSSL", "Apache License 2.0"},
                                              {"nlohmann/json", "MIT License"}};
    std::size_t spotChecked = 0;
    for (const Credit& credit : credits()) {
        EXPECT_FALSE(credit.licence.isEmpty()) << credit.name.toStdString();
        EXPECT_TRUE(texts.contains(credit.licence)) << credit.name.toStdString();
        if (!licences.contains(credit.name)) continue;
        EXPECT_EQ(credit.licence, licences.at(credit.name));
        ++spotChecked;
    }
    EXPECT_EQ(spotChecked, licences.size());
}

} // namespace
} // namespace lorvan
