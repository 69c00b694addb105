#include "app/window/Icons.hpp"

#include <QGuiApplication>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>
#include <algorithm>
#include <map>
#include <utility>

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

namespace {

/// Lorvan's own drawing, tinted for each mode with the application palette's colours when a size
/// is first asked for: a menu or button draws one or two of the many sizes and modes an icon
/// could be shown in, so nothing is drawn for the others, nor before the icon is first seen.
class TintedSvgIconEngine final : public QIconEngine {
public:
    explicit TintedSvgIconEngine(QString file)
        : file_(std::move(file)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const qreal scale = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        QPixmap drawn = pixmap(rect.size() * scale, mode, state);
        drawn.setDevicePixelRatio(scale);
        painter->drawPixmap(rect, drawn);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        const int side = std::max(1, std::min(size.width(), size.height()));
        const auto key = std::pair(side, static_cast<int>(mode));
        if (const auto found = drawn_.find(key); found != drawn_.end()) return found->second;
        const QPalette palette = QGuiApplication::palette();
        const QColor color = mode == QIcon::Disabled ? palette.color(QPalette::Disabled, QPalette::WindowText)
                             : mode == QIcon::Selected
                                 ? palette.color(QPalette::Active, QPalette::HighlightedText)
                                 : palette.color(QPalette::Active, QPalette::WindowText);
        QSvgRenderer svg(file_);
        return drawn_[key] = tinted(svg, side, color);
    }

    [[nodiscard]] QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        // For menus, buttons and toolbars at scale 1 and 2; any other size is drawn as asked.
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {44, 44}, {48, 48}, {64, 64}};
    }
    [[nodiscard]] bool isNull() override { return false; }
    [[nodiscard]] QIconEngine* clone() const override { return new TintedSvgIconEngine(*this); }
    [[nodiscard]] QString key() const override { return QStringLiteral("lorvan-tinted-svg"); }

private:
    QString file_;
    std::map<std::pair<int, int>, QPixmap> drawn_;
};

} // namespace

QIcon fallbackActionIcon(ActionIcon icon) {
    return QIcon(new TintedSvgIconEngine(
        QStringLiteral(":/lorvan/icons/%1.svg").arg(QLatin1String(names(icon).fallback))));
}

namespace {

/// Asks the desktop's theme only when the icon is first drawn: looking an icon up reads the
/// theme's index, which costs a start a dozen milliseconds, and the icons sit in menus that are
/// not open then. Asked again when the desktop's theme changes.
class ThemeOrFallbackIconEngine final : public QIconEngine {
public:
    explicit ThemeOrFallbackIconEngine(ActionIcon icon)
        : icon_(icon) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        resolved().paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return resolved().pixmap(size, mode, state);
    }
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return resolved().actualSize(size, mode, state);
    }
    [[nodiscard]] QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override {
        return resolved().availableSizes(mode, state);
    }
    // Never null: Lorvan's own drawing stands in for whatever the theme lacks.
    [[nodiscard]] bool isNull() override { return false; }
    [[nodiscard]] QIconEngine* clone() const override { return new ThemeOrFallbackIconEngine(icon_); }
    [[nodiscard]] QString key() const override { return QStringLiteral("lorvan-theme-or-fallback"); }

private:
    const QIcon& resolved() {
        if (!resolved_.isNull() && resolvedInTheme_ == QIcon::themeName()) return resolved_;
        resolvedInTheme_ = QIcon::themeName();
        const QString name = themeIconName(icon_);
        resolved_ =
            !name.isEmpty() && QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name) : fallbackActionIcon(icon_);
        return resolved_;
    }

    ActionIcon icon_;
    QIcon resolved_;
    QString resolvedInTheme_;
};

} // namespace

QIcon actionIcon(ActionIcon icon) {
    // One per picture and process: play and pause take turns on the same action all the time,
    // and each keeps what it has drawn.
    static std::map<ActionIcon, QIcon> made;
    const auto found = made.find(icon);
    return found != made.end() ? found->second : made[icon] = QIcon(new ThemeOrFallbackIconEngine(icon));
}

} // namespace lorvan
