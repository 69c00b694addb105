#include "app/window/DiscInfoWindow.hpp"

#include "app/window/Icons.hpp"
#include "disc/AudioDisc.hpp"

#include <QClipboard>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>
#include <filesystem>

namespace lorvan {
namespace {

QString name(DiscInfoWindow::Identifier identifier) {
    switch (identifier) {
    case DiscInfoWindow::Identifier::musicBrainz:
        return QObject::tr("MusicBrainz");
    case DiscInfoWindow::Identifier::accurateRipV1:
        return QObject::tr("AccurateRip v1");
    case DiscInfoWindow::Identifier::accurateRipV2:
        return QObject::tr("AccurateRip v2");
    case DiscInfoWindow::Identifier::freeDB:
        return QObject::tr("FreeDB/CDDB");
    }
    return {};
}

// The same eight lowercase digits the disc logs and `lorvan-cli info` prints.
QString hex32(std::uint32_t value) {
    return QStringLiteral("%1").arg(value, 8, 16, QLatin1Char('0'));
}

QString discTitle(const AudioDisc& disc) {
    QString title;
    if (disc.metadata && disc.metadata->releaseTitle)
        title = QString::fromStdString(*disc.metadata->releaseTitle);
    if (title.isEmpty()) title = QString::fromStdString(disc.source.url.lastPathComponent());
    if (!disc.metadata) return title;
    return QObject::tr("%1 — %2").arg(title, QString::fromStdString(disc.metadata->releaseArtistText()));
}

} // namespace

DiscInfoWindow::DiscInfoWindow(QWidget* parent, std::function<bool(const QUrl&)> openURL)
    : QWidget(parent, Qt::Window)
    , openURL_(std::move(openURL))
    , discTitle_(new QLabel(this))
    , noIdentifiers_(new QLabel(this))
    , lookupButton_(new QPushButton(tr("Look Up on MusicBrainz"), this))
    , tabs_(new QTabWidget(this)) {
    if (!openURL_) openURL_ = [](const QUrl& url) { return QDesktopServices::openUrl(url); };
    setWindowTitle(tr("Disc Info"));
    setObjectName(QStringLiteral("discInfoWindow"));
    resize(720, 560);

    QFont titleFont = discTitle_->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.15);
    discTitle_->setFont(titleFont);
    discTitle_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    discTitle_->setWordWrap(true);
    discTitle_->setAccessibleName(tr("Disc"));
    noIdentifiers_->setWordWrap(true);
    noIdentifiers_->setText(
        tr("This disc has no identifiers: only a disc that can be an audio CD has them."));

    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    auto* identifiers = new QGroupBox(tr("Disc IDs"), this);
    auto* grid = new QGridLayout(identifiers);
    grid->setColumnStretch(1, 1);
    for (std::size_t i = 0; i < allIdentifiers.size(); ++i) {
        const Identifier identifier = allIdentifiers[i];
        Row& row = rows_[i];
        row.label = new QLabel(name(identifier) + QLatin1Char(':'), identifiers);
        row.value = new QLineEdit(identifiers);
        row.value->setReadOnly(true);
        row.value->setFont(fixed);
        // Room for a whole MusicBrainz ID (28 characters) without scrolling.
        row.value->setMinimumWidth(QFontMetrics(fixed).horizontalAdvance(QString(30, QLatin1Char('M'))));
        row.value->setAccessibleName(tr("%1 disc ID").arg(name(identifier)));
        row.value->setToolTip(tr("The %1 disc ID").arg(name(identifier)));
        row.label->setBuddy(row.value);
        row.copy = new QPushButton(actionIcon(ActionIcon::copy), tr("Copy"), identifiers);
        row.copy->setAccessibleName(tr("Copy the %1 disc ID").arg(name(identifier)));
        row.copy->setToolTip(tr("Copy the %1 disc ID to the clipboard").arg(name(identifier)));
        connect(row.copy, &QPushButton::clicked, this,
                [this, identifier] { QGuiApplication::clipboard()->setText(identifierText(identifier)); });
        const int gridRow = static_cast<int>(i);
        grid->addWidget(row.label, gridRow, 0, Qt::AlignRight);
        grid->addWidget(row.value, gridRow, 1);
        grid->addWidget(row.copy, gridRow, 2);
    }
    lookupButton_->setIcon(actionIcon(ActionIcon::webLookup));
    lookupButton_->setAccessibleName(tr("Look up the disc on MusicBrainz"));
    lookupButton_->setToolTip(tr("Open the disc's MusicBrainz page in the browser"));
    connect(lookupButton_, &QPushButton::clicked, this, [this] {
        if (!lookupURL_.isEmpty()) openURL_(lookupURL_);
    });
    auto* lookupRow = new QHBoxLayout;
    lookupRow->addStretch(1);
    lookupRow->addWidget(lookupButton_);
    grid->addLayout(lookupRow, static_cast<int>(allIdentifiers.size()), 0, 1, 3);

    const std::array<QString, 3> tabNames{tr("Cues"), tr("Tracks"), tr("MusicBrainz")};
    const std::array<QString, 3> tabDescriptions{
        tr("Table of contents by cue"), tr("Table of contents by track, as rippers list it"),
        tr("Table of contents by track, as MusicBrainz counts sectors")};
    for (std::size_t i = 0; i < tables_.size(); ++i) {
        auto* table = new QPlainTextEdit(tabs_);
        table->setReadOnly(true);
        table->setLineWrapMode(QPlainTextEdit::NoWrap);
        table->setFont(fixed);
        table->setAccessibleName(tabDescriptions[i]);
        table->setToolTip(tabDescriptions[i]);
        tables_[i] = table;
        tabs_->addTab(table, tabNames[i]);
        tabs_->setTabToolTip(static_cast<int>(i), tabDescriptions[i]);
    }
    tabs_->setAccessibleName(tr("Tables of contents"));
    auto* contents = new QGroupBox(tr("Tables of Contents"), this);
    auto* contentsLayout = new QVBoxLayout(contents);
    contentsLayout->addWidget(tabs_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(discTitle_);
    layout->addWidget(noIdentifiers_);
    layout->addWidget(identifiers);
    layout->addWidget(contents, 1);

    QWidget* previous = nullptr;
    for (const Row& row : rows_) {
        if (previous) setTabOrder(previous, row.value);
        setTabOrder(row.value, row.copy);
        previous = row.copy;
    }
    setTabOrder(previous, lookupButton_);
    setTabOrder(lookupButton_, tabs_);

    setDisc(nullptr);
}

void DiscInfoWindow::setDisc(const AudioDisc* disc) {
    const auto& id = disc ? disc->onlineID : std::nullopt;
    discTitle_->setText(disc ? discTitle(*disc) : tr("No disc"));
    noIdentifiers_->setVisible(disc && !id);
    const std::array<QString, 4> values =
        id ? std::array<QString, 4>{QString::fromStdString(id->musicBrainz), hex32(id->arV1Value),
                                    hex32(id->arV2Value), hex32(id->cddbValue)}
           : std::array<QString, 4>{};
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i].value->setText(values[i]);
        rows_[i].value->setPlaceholderText(tr("None"));
        rows_[i].value->setCursorPosition(0);
        rows_[i].copy->setEnabled(id.has_value());
    }
    lookupURL_ = id ? QUrl(QString::fromStdString(id->musicBrainzURL()), QUrl::StrictMode) : QUrl();
    lookupButton_->setEnabled(id.has_value());
    lookupButton_->setToolTip(id ? tr("Open %1 in the browser").arg(lookupURL_.toString())
                                 : tr("Open the disc's MusicBrainz page in the browser"));

    constexpr std::array modes{TOCMode::cues, TOCMode::tracksRipper, TOCMode::tracksMusicBrainz};
    for (std::size_t i = 0; i < tables_.size(); ++i) {
        QStringList lines;
        if (disc)
            for (const std::string& line :
                 disc->tableOfContents(modes[i], AudioDisc::TrackLengthMode::includingNextTrackPregap))
                lines << QString::fromStdString(line);
        tables_[i]->setPlainText(lines.join(QLatin1Char('\n')));
    }
}

QString DiscInfoWindow::identifierText(Identifier identifier) const {
    return rows_[static_cast<std::size_t>(identifier)].value->text();
}

QString DiscInfoWindow::tableOfContents(int tab) const {
    return tables_.at(static_cast<std::size_t>(tab))->toPlainText();
}

QPushButton* DiscInfoWindow::copyButton(Identifier identifier) const {
    return rows_[static_cast<std::size_t>(identifier)].copy;
}

} // namespace lorvan
