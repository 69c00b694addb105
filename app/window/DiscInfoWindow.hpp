#pragma once

#include <QUrl>
#include <QWidget>
#include <array>
#include <functional>
#include <optional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;

namespace lorvan {

class AudioDisc;

/// "Disc Info": the identifiers online databases know the disc by, each with a copy button,
/// a button that opens the disc's MusicBrainz page in the browser, and the three tables of
/// contents as the disc logs them. Shows the disc given last; main thread only.
class DiscInfoWindow : public QWidget {
    Q_OBJECT
public:
    enum class Identifier { musicBrainz, accurateRipV1, accurateRipV2, freeDB };
    static constexpr std::array allIdentifiers{Identifier::musicBrainz, Identifier::accurateRipV1,
                                               Identifier::accurateRipV2, Identifier::freeDB};

    /// `openURL` opens a page in the browser; QDesktopServices by default.
    explicit DiscInfoWindow(QWidget* parent = nullptr, std::function<bool(const QUrl&)> openURL = {});

    /// Shows `disc`, or that there is none when it is null. Keeps nothing of it.
    void setDisc(const AudioDisc* disc);

    /// The identifier as shown: the MusicBrainz ID as is, the others as eight hexadecimal digits.
    [[nodiscard]] QString identifierText(Identifier identifier) const;
    /// The disc's MusicBrainz lookup page; empty without identifiers.
    [[nodiscard]] QUrl lookupURL() const { return lookupURL_; }
    /// The table of contents on tab 0 (cues), 1 (tracks) or 2 (MusicBrainz).
    [[nodiscard]] QString tableOfContents(int tab) const;

    [[nodiscard]] QPushButton* copyButton(Identifier identifier) const;
    [[nodiscard]] QPushButton* lookupButton() const { return lookupButton_; }

private:
    struct Row {
        QLabel* label;
        QLineEdit* value;
        QPushButton* copy;
    };

    std::function<bool(const QUrl&)> openURL_;
    QLabel* discTitle_;
    QLabel* noIdentifiers_;
    std::array<Row, 4> rows_{};
    QPushButton* lookupButton_;
    QTabWidget* tabs_;
    std::array<QPlainTextEdit*, 3> tables_{};
    QUrl lookupURL_;
};

} // namespace lorvan
