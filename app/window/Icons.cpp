#include "app/window/Icons.hpp"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

namespace lorvan {
namespace {

struct IconNames {
    const char* theme;    // freedesktop icon-naming name; empty when there is none
    const char* fallback; // file under :/lorvan/icons
};

IconNames names(ActionIcon icon) {
    switch (icon) {
    case ActionIcon::play:
        return {"media-playback-start", "play"};
    case ActionIcon::pause:
        return {"media-playback-pause", "pause"};
    case ActionIcon::stop:
        return {"media-playback-stop", "stop"};
    case ActionIcon::eject:
        return {"media-eject", "eject"};
    case ActionIcon::previousTrack:
        return {"media-skip-backward", "previous-track"};
    case ActionIcon::nextTrack:
        return {"media-skip-forward", "next-track"};
    case ActionIcon::previousChapter:
        return {"media-seek-backward", "previous-chapter"};
    case ActionIcon::nextChapter:
        return {"media-seek-forward", "next-chapter"};
    case ActionIcon::repeat:
        return {"media-playlist-repeat", "repeat"};
    case ActionIcon::repeatTrack:
        return {"media-playlist-repeat-song", "repeat-track"};
    case ActionIcon::shuffle:
        return {"media-playlist-shuffle", "shuffle"};
    case ActionIcon::volume:
        return {"audio-volume-high", "volume"};
    case ActionIcon::volumeMuted:
        return {"audio-volume-muted", "volume-muted"};
    case ActionIcon::amplifier:
        return {"", "amplifier"};
    case ActionIcon::rate:
        return {"", "rate"};
    case ActionIcon::timeMode:
        return {"", "time-mode"};
    case ActionIcon::openCueSheet:
        return {"document-open", "open"};
    case ActionIcon::openFolder:
        return {"folder-open", "open-folder"};
    case ActionIcon::preferences:
        return {"preferences-system", "preferences"};
    case ActionIcon::about:
        return {"help-about", "about"};
    case ActionIcon::consoleLog:
        return {"utilities-terminal", "console-log"};
    case ActionIcon::discInfo:
        return {"media-optical", "disc-info"};
    case ActionIcon::copy:
        return {"edit-copy", "copy"};
    case ActionIcon::webLookup:
        return {"internet-web-browser", "web-lookup"};
    case ActionIcon::save:
        return {"document-save", "save"};
    case ActionIcon::clear:
        return {"edit-clear", "clear"};
    case ActionIcon::quit:
        return {"application-exit", "quit"};
    }
    return {"", "about"};
}

QPixmap tinted(QSvgRenderer& svg, int size, const QColor& color) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    svg.render(&painter, QRectF(0, 0, size, size));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    painter.end();
    return QPixmap::fromImage(image);
}

} // namespace

QString themeIconName(ActionIcon icon) {
    return QString::fromLatin1(names(icon).theme);
}

QIcon fallbackActionIcon(ActionIcon icon) {
    QSvgRenderer svg(QStringLiteral(":/lorvan/icons/%1.svg").arg(QLatin1String(names(icon).fallback)));
    const QPalette palette = QGuiApplication::palette();
    QIcon result;
    // Sizes for menus, buttons and toolbars at scale 1 and 2.
    for (int size : {16, 22, 24, 32, 44, 48, 64}) {
        result.addPixmap(tinted(svg, size, palette.color(QPalette::Active, QPalette::WindowText)),
                         QIcon::Normal);
        result.addPixmap(tinted(svg, size, palette.color(QPalette::Active, QPalette::WindowText)),
                         QIcon::Active);
        result.addPixmap(tinted(svg, size, palette.color(QPalette::Disabled, QPalette::WindowText)),
                         QIcon::Disabled);
        result.addPixmap(tinted(svg, size, palette.color(QPalette::Active, QPalette::HighlightedText)),
                         QIcon::Selected);
    }
    return result;
}

QIcon actionIcon(ActionIcon icon) {
    const QString name = themeIconName(icon);
    if (!name.isEmpty() && QIcon::hasThemeIcon(name)) return QIcon::fromTheme(name);
    return fallbackActionIcon(icon);
}

} // namespace lorvan
