#include "app/window/PreferencesWindow.hpp"

#include "app/window/AppearancePane.hpp"
#include "app/window/Icons.hpp"
#include "app/window/PlaybackPane.hpp"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace lorvan {

PreferencesWindow::PreferencesWindow(UserUISettings& ui, PlayerSettings& player, UserDefaults& defaults,
                                     std::vector<std::string> deviceNames, QWidget* parent)
    : QDialog(parent)
    , tabs_(new QTabWidget(this))
    , appearance_(new AppearancePane(ui, tabs_))
    , playback_(new PlaybackPane(player, defaults, std::move(deviceNames), tabs_)) {
    setWindowTitle(tr("Preferences"));
    setObjectName(QStringLiteral("preferencesWindow"));
    setModal(false);
    tabs_->addTab(appearance_, tr("Appearance"));
    tabs_->addTab(playback_, tr("Playback"));
    tabs_->setTabToolTip(0, tr("Theme and brightness of the display"));
    tabs_->setTabToolTip(1, tr("Repeat, sound device, and what opening a disc does"));
    tabs_->setAccessibleName(tr("Preference panes"));
    tabs_->setDocumentMode(false);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* close = buttons->button(QDialogButtonBox::Close);
    close->setAccessibleName(tr("Close"));
    close->setToolTip(tr("Close the preferences (Esc); changes are already applied"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_, 1);
    layout->addWidget(buttons);
    resize(sizeHint().width(), 640);
}

} // namespace lorvan
