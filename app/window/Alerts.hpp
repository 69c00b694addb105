#pragma once

#include <QPointer>
#include <QString>
#include <memory>

class QMessageBox;
class QWidget;

namespace lorvan {

class LocalizedError;

/// The alert for a disc that could not be opened: the error's description as its text, its
/// failure reason and recovery suggestion below. Not shown yet; the caller decides how.
[[nodiscard]] std::unique_ptr<QMessageBox> makeRefusedOpenAlert(const LocalizedError& error, QWidget* parent);

/// Shows the refused-open alert modal to `parent`'s window without blocking the event loop, so
/// the disc that was playing keeps playing; the box deletes itself when closed. Main thread only.
QMessageBox* showRefusedOpenAlert(const LocalizedError& error, QWidget* parent);

/// A trouble met while playing (a read failure, which stops the disc; a lost sound device, after
/// which it plays on without sound): one non-modal box per parent window, reused, so a burst of
/// troubles shows the latest message instead of a stack of boxes. Main thread only.
class PlaybackMessages {
public:
    explicit PlaybackMessages(QWidget* parent);
    ~PlaybackMessages();
    PlaybackMessages(const PlaybackMessages&) = delete;
    PlaybackMessages& operator=(const PlaybackMessages&) = delete;

    void showReadFailure(const QString& detail);
    void showDeviceLost(const QString& detail);
    /// The box currently shown, if any.
    [[nodiscard]] QMessageBox* box() const { return box_; }

private:
    void show(const QString& text, const QString& detail, const QString& outcome);

    QWidget* parent_;
    QPointer<QMessageBox> box_;
};

} // namespace lorvan
