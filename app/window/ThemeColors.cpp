#include "ThemeColors.hpp"

#include <algorithm>
#include <cmath>

namespace lorvan::window {

QColor qColor(const Color& color) {
    return QColor::fromRgbF(static_cast<float>(std::clamp(color.red, 0.0, 1.0)),
                            static_cast<float>(std::clamp(color.green, 0.0, 1.0)),
                            static_cast<float>(std::clamp(color.blue, 0.0, 1.0)),
                            static_cast<float>(std::clamp(color.alpha, 0.0, 1.0)));
}

QColor over(const QColor& top, const QColor& bottom) {
    const float a = top.alphaF();
    return QColor::fromRgbF(top.redF() * a + bottom.redF() * (1 - a),
                            top.greenF() * a + bottom.greenF() * (1 - a),
                            top.blueF() * a + bottom.blueF() * (1 - a));
}

double lightness(const QColor& color) {
    return toOKLab({color.redF(), color.greenF(), color.blueF(), 1}).l;
}

ThemeColors ThemeColors::of(const LCTheme& theme) {
    // The display's darkest background colour decides whether the device is a dark or a light one.
    Color glass = theme.backgroundColors.empty() ? Color::black() : theme.backgroundColors.back();
    for (const Color& c : theme.backgroundColors)
        if (toOKLab(c).l < toOKLab(glass).l) glass = c;
    const bool dark = toOKLab(theme.highlightedViewBackground).l < 0.55;
    ThemeColors colors;
    if (dark) {
        // A graphite body tinted by the theme, its ink the theme's bright colour.
        const Color body = Color::rgb(0x17181B).mixed(theme.highlightedViewBackground, 0.35);
        colors.body = qColor(body);
        colors.bodyEdge = qColor(body.mixed(Color::black(), 0.45));
        colors.well = qColor(body.mixed(Color::black(), 0.35));
        colors.primary = qColor(theme.highlightedViewPrimary.mixed(Color::white(), 0.1));
        colors.secondary = qColor(body.mixed(theme.highlightedViewPrimary, 0.55));
        colors.accent = qColor(theme.accentColor.withAlpha(1));
        colors.hover = qColor(theme.highlightedViewPrimary.withAlpha(0.10));
    } else {
        const Color body = theme.highlightedViewBackground.mixed(Color::white(), 0.25);
        colors.body = qColor(body);
        colors.bodyEdge = qColor(body.mixed(theme.highlightedViewPrimary, 0.2));
        colors.well = qColor(body.mixed(theme.highlightedViewPrimary, 0.07));
        colors.primary = qColor(theme.highlightedViewPrimary);
        colors.secondary = qColor(body.mixed(theme.highlightedViewPrimary, 0.55));
        colors.accent = qColor(theme.accentColor.mixed(theme.highlightedViewPrimary, 0.35).withAlpha(1));
        colors.hover = qColor(theme.highlightedViewPrimary.withAlpha(0.07));
    }
    colors.playingRow = colors.accent;
    colors.playingRow.setAlphaF(0.18F);
    // On light bodies the accent is mixed towards the ink and can end up as grey as the row.
    colors.playingText =
        std::abs(lightness(colors.accent) - lightness(over(colors.playingRow, colors.well))) >= 0.3
            ? colors.accent
            : colors.primary;
    return colors;
}

QPalette ThemeColors::palette() const {
    QPalette p;
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(group, QPalette::Window, body);
        p.setColor(group, QPalette::Base, well);
        p.setColor(group, QPalette::AlternateBase, well);
        p.setColor(group, QPalette::Button, body);
        p.setColor(group, QPalette::WindowText, primary);
        p.setColor(group, QPalette::Text, primary);
        p.setColor(group, QPalette::ButtonText, primary);
        p.setColor(group, QPalette::PlaceholderText, secondary);
        p.setColor(group, QPalette::Highlight, accent);
        QColor onAccent = lightness(accent) > 0.6 ? QColor(20, 20, 20) : QColor(250, 250, 250);
        p.setColor(group, QPalette::HighlightedText, onAccent);
        p.setColor(group, QPalette::Mid, bodyEdge);
        p.setColor(group, QPalette::Dark, bodyEdge);
        p.setColor(group, QPalette::Light, body.lighter(115));
        p.setColor(group, QPalette::Midlight, body.lighter(108));
        p.setColor(group, QPalette::Shadow, QColor(0, 0, 0, 120));
    }
    p.setColor(QPalette::Disabled, QPalette::WindowText, secondary);
    p.setColor(QPalette::Disabled, QPalette::Text, secondary);
    p.setColor(QPalette::Disabled, QPalette::ButtonText, secondary);
    p.setColor(QPalette::Disabled, QPalette::Window, body);
    p.setColor(QPalette::Disabled, QPalette::Base, well);
    p.setColor(QPalette::Disabled, QPalette::Button, body);
    return p;
}

} // namespace lorvan::window
