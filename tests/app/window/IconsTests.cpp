#include "WindowTestSupport.hpp"
#include "app/window/Icons.hpp"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPalette>
#include <QSet>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

QImage picture(const QIcon& icon, int size = 24) {
    return icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
}

long opaquePixels(const QImage& image) {
    long count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 128;
    return count;
}

TEST(Icons, EveryFallbackIsADistinctVisibleDrawingInThePalettesColours) {
    test::application();
    QSet<QByteArray> seen;
    for (ActionIcon icon : allActionIcons) {
        const QImage image = picture(fallbackActionIcon(icon));
        ASSERT_FALSE(image.isNull());
        const long opaque = opaquePixels(image);
        // Drawn, not a blank or a filled square: between 4 % and 70 % of the 24 × 24 pixels.
        EXPECT_GT(opaque, 24 * 24 / 25) << themeIconName(icon).toStdString();
        EXPECT_LT(opaque, 24 * 24 * 7 / 10) << themeIconName(icon).toStdString();
        const QByteArray bytes(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes());
        EXPECT_FALSE(seen.contains(bytes)) << "two actions share one picture: " << static_cast<int>(icon);
        seen.insert(bytes);
    }

    // The play triangle's middle is solid in the palette's text colour, and dims when disabled.
    const QIcon play = fallbackActionIcon(ActionIcon::play);
    const QColor text = QGuiApplication::palette().color(QPalette::Active, QPalette::WindowText);
    const QColor centre = picture(play).pixelColor(11, 12);
    EXPECT_EQ(centre.alpha(), 255);
    EXPECT_EQ(centre.rgb(), text.rgb());
    EXPECT_NE(play.pixmap(24, 24, QIcon::Disabled).toImage().pixelColor(11, 12).rgb(), centre.rgb());
}

TEST(Icons, TheDesktopThemeWinsWhereItHasTheName) {
    test::application();
    const QStringList savedPaths = QIcon::themeSearchPaths();
    const QString savedTheme = QIcon::themeName();
    // A one-icon theme whose play button is pure red; everything else must fall back.
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    ASSERT_TRUE(QDir(root.path()).mkpath("probe/24x24/actions"));
    QFile index(root.filePath("probe/index.theme"));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=probe\nDirectories=24x24/actions\n\n"
                "[24x24/actions]\nSize=24\nContext=Actions\nType=Fixed\n");
    index.close();
    QImage red(24, 24, QImage::Format_ARGB32);
    red.fill(QColor(255, 0, 0));
    ASSERT_TRUE(red.save(root.filePath("probe/24x24/actions/media-playback-start.png")));
    QIcon::setThemeSearchPaths({root.path()});
    QIcon::setThemeName("probe");

    EXPECT_EQ(themeIconName(ActionIcon::play), "media-playback-start");
    EXPECT_EQ(picture(actionIcon(ActionIcon::play)).pixelColor(2, 2), QColor(255, 0, 0));
    const QImage pause = picture(actionIcon(ActionIcon::pause));
    EXPECT_EQ(pause, picture(fallbackActionIcon(ActionIcon::pause)));
    EXPECT_EQ(picture(actionIcon(ActionIcon::amplifier)), picture(fallbackActionIcon(ActionIcon::amplifier)))
        << "a picture without a freedesktop name is always Lorvan's";
    QIcon::setThemeSearchPaths(savedPaths);
    QIcon::setThemeName(savedTheme);
}

} // namespace
} // namespace lorvan
