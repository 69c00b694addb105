#include "WindowTestSupport.hpp"
#include "app/identity/Identity.hpp"
#include "app/window/AboutWindow.hpp"

#include <QLabel>
#include <gtest/gtest.h>

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
    AboutWindow window("1.2.3-4-gabcdef0", nullptr);
    const QStringList texts = labelTexts(window);
    EXPECT_TRUE(texts.contains("Lorvan"));
    EXPECT_TRUE(texts.contains("Version 1.2.3-4-gabcdef0"));
    for (const char* part : {"GNU Unifont", "DSEG", "Qt 6", "FFmpeg", "TagLib", "libsoxr", "PortAudio", "ICU",
                             "OpenSSL", "nlohmann/json"})
        EXPECT_TRUE(texts.contains(part)) << part;
    for (const Credit& credit : credits()) {
        EXPECT_TRUE(texts.contains(credit.licence)) << credit.name.toStdString();
        EXPECT_FALSE(credit.licence.isEmpty());
    }
    const auto licenceOf = [](const QString& name) {
        for (const Credit& credit : credits())
            if (credit.name == name) return credit.licence;
        return QString();
    };
    EXPECT_EQ(licenceOf("DSEG"), "SIL Open Font License 1.1");
    EXPECT_EQ(licenceOf("OpenSSL"), "Apache License 2.0");
    EXPECT_EQ(licenceOf("nlohmann/json"), "MIT License");
}

TEST(AboutWindow, ShowsTheVersionThisBuildWasMadeFrom) {
    test::application();
    AboutWindow window;
    const QString version =
        QString::fromUtf8(identity::version().data(), static_cast<qsizetype>(identity::version().size()));
    ASSERT_FALSE(version.isEmpty());
    EXPECT_TRUE(labelTexts(window).contains("Version " + version));
    EXPECT_EQ(window.windowTitle(), "About Lorvan");
}

} // namespace
} // namespace lorvan
