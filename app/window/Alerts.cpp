#include "app/window/Alerts.hpp"

#include "core/LocalizedError.hpp"

#include <QMessageBox>

namespace lorvan {
namespace {

QString text(const std::optional<std::string>& value) {
    return value ? QString::fromStdString(*value).trimmed() : QString();
}

} // namespace

std::unique_ptr<QMessageBox> makeRefusedOpenAlert(const LocalizedError& error, QWidget* parent) {
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QObject::tr("Lorvan"));
    QString description = text(error.errorDescription());
    if (description.isEmpty()) description = QString::fromUtf8(error.what());
    box->setText(description);
    QStringList details;
    for (const QString& part : {text(error.failureReason()), text(error.recoverySuggestion())})
        if (!part.isEmpty()) details << part;
    box->setInformativeText(details.join(QStringLiteral("\n\n")));
    box->setStandardButtons(QMessageBox::Ok);
    box->setAccessibleName(description);
    return box;
}

QMessageBox* showRefusedOpenAlert(const LocalizedError& error, QWidget* parent) {
    QMessageBox* box = makeRefusedOpenAlert(error, parent).release();
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(parent ? Qt::WindowModal : Qt::ApplicationModal);
    box->open();
    return box;
}

PlaybackMessages::PlaybackMessages(QWidget* parent)
    : parent_(parent) {}

PlaybackMessages::~PlaybackMessages() {
    if (box_) box_->deleteLater();
}

void PlaybackMessages::showReadFailure(const QString& detail) {
    show(QObject::tr("Lorvan could not read part of the disc."), detail, QObject::tr("Playback stopped."));
}

void PlaybackMessages::showDeviceLost(const QString& detail) {
    show(QObject::tr("The sound device was lost."), detail, QObject::tr("Playback goes on."));
}

void PlaybackMessages::show(const QString& message, const QString& detail, const QString& outcome) {
    if (!box_) {
        box_ = new QMessageBox(parent_);
        box_->setIcon(QMessageBox::Warning);
        box_->setWindowTitle(QObject::tr("Lorvan"));
        box_->setStandardButtons(QMessageBox::Ok);
        box_->setWindowModality(Qt::NonModal);
        box_->setAttribute(Qt::WA_DeleteOnClose);
    }
    box_->setText(message);
    box_->setInformativeText(detail + QStringLiteral("\n\n") + outcome);
    box_->setAccessibleName(message);
    box_->show();
    box_->raise();
}

} // namespace lorvan
