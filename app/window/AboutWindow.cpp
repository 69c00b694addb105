#include "app/window/AboutWindow.hpp"

#include "app/identity/Identity.hpp"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace lorvan {

const std::vector<Credit>& credits() {
    static const std::vector<Credit> list{
        {QStringLiteral("GNU Unifont"), QObject::tr("the display's dot-matrix glyphs"),
         QObject::tr("GNU GPL 2 or later, with the font embedding exception")},
        {QStringLiteral("DSEG"), QObject::tr("the display's seven-segment digits"),
         QObject::tr("SIL Open Font License 1.1")},
        {QStringLiteral("Qt 6"), QObject::tr("windows, images and settings"), QObject::tr("GNU LGPL 3")},
        {QStringLiteral("FFmpeg"), QObject::tr("audio decoding"),
         QObject::tr("GNU LGPL 2.1 or later; GPL 2 or later as Debian builds it")},
        {QStringLiteral("TagLib"), QObject::tr("audio file tags"), QObject::tr("GNU LGPL 2.1 or MPL 1.1")},
        {QStringLiteral("libsoxr"), QObject::tr("sample rate conversion"),
         QObject::tr("GNU LGPL 2.1 or later")},
        {QStringLiteral("PortAudio"), QObject::tr("sound output"), QObject::tr("MIT License")},
        {QStringLiteral("ICU"), QObject::tr("text encodings and Unicode"), QObject::tr("Unicode License")},
        {QStringLiteral("OpenSSL"), QObject::tr("disc ID digests"), QObject::tr("Apache License 2.0")},
        {QStringLiteral("nlohmann/json"), QObject::tr("JSON documents"), QObject::tr("MIT License")},
    };
    return list;
}

AboutWindow::AboutWindow(QWidget* parent)
    : AboutWindow(
          QString::fromUtf8(identity::version().data(), static_cast<qsizetype>(identity::version().size())),
          parent) {}

AboutWindow::AboutWindow(const QString& version, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(tr("About %1")
                       .arg(QString::fromUtf8(identity::appName.data(),
                                              static_cast<qsizetype>(identity::appName.size()))));
    setObjectName(QStringLiteral("aboutWindow"));

    auto* icon = new QLabel(this);
    const QIcon appIcon = QApplication::windowIcon();
    if (!appIcon.isNull()) icon->setPixmap(appIcon.pixmap(64, 64));
    icon->setVisible(!appIcon.isNull());

    auto* name = new QLabel(
        QString::fromUtf8(identity::appName.data(), static_cast<qsizetype>(identity::appName.size())), this);
    QFont nameFont = name->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.8);
    nameFont.setBold(true);
    name->setFont(nameFont);
    name->setAccessibleName(tr("Name"));

    auto* versionLabel = new QLabel(tr("Version %1").arg(version), this);
    versionLabel->setObjectName(QStringLiteral("version"));
    versionLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    versionLabel->setAccessibleName(tr("Version"));

    auto* summary =
        new QLabel(tr("A player for audio CDs ripped to files. A cue sheet or a folder of audio files "
                      "becomes one disc, played gaplessly from the first track to the last, "
                      "as a CD player would, behind a dot-matrix display."),
                   this);
    summary->setWordWrap(true);
    // A wrapped label's height follows its width: fixing the width keeps the window free of gaps.
    summary->setFixedWidth(580);
    summary->setObjectName(QStringLiteral("summary"));

    auto* creditsTitle = new QLabel(tr("Lorvan is built on:"), this);
    QFont bold = creditsTitle->font();
    bold.setBold(true);
    creditsTitle->setFont(bold);

    auto* creditsBox = new QFrame(this);
    creditsBox->setObjectName(QStringLiteral("credits"));
    creditsBox->setFrameShape(QFrame::StyledPanel);
    creditsBox->setAccessibleName(tr("Credits and licences"));
    auto* grid = new QGridLayout(creditsBox);
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(6);
    int row = 0;
    for (const Credit& credit : credits()) {
        auto* what = new QLabel(credit.name, creditsBox);
        what->setFont(bold);
        auto* role = new QLabel(credit.role, creditsBox);
        auto* licence = new QLabel(credit.licence, creditsBox);
        licence->setTextInteractionFlags(Qt::TextSelectableByMouse);
        role->setForegroundRole(QPalette::PlaceholderText);
        grid->addWidget(what, row, 0, Qt::AlignLeft | Qt::AlignTop);
        grid->addWidget(role, row, 1, Qt::AlignLeft | Qt::AlignTop);
        grid->addWidget(licence, row, 2, Qt::AlignLeft | Qt::AlignTop);
        ++row;
    }
    grid->setColumnStretch(2, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* close = buttons->button(QDialogButtonBox::Close);
    close->setAccessibleName(tr("Close"));
    close->setToolTip(tr("Close this window (Esc)"));
    close->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* header = new QHBoxLayout;
    header->setSpacing(16);
    header->addWidget(icon, 0, Qt::AlignTop);
    auto* headerText = new QVBoxLayout;
    headerText->setSpacing(2);
    headerText->addWidget(name);
    headerText->addWidget(versionLabel);
    header->addLayout(headerText, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 14);
    layout->setSpacing(12);
    layout->addLayout(header);
    layout->addWidget(summary);
    layout->addSpacing(4);
    layout->addWidget(creditsTitle);
    layout->addWidget(creditsBox);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace lorvan
