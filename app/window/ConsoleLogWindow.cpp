#include "app/window/ConsoleLogWindow.hpp"

#include "app/window/Icons.hpp"
#include "core/ConsoleLog.hpp"

#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QScrollBar>
#include <QShortcut>
#include <QStandardPaths>
#include <QVBoxLayout>

namespace lorvan {

ConsoleLogRecord::ConsoleLogRecord(qsizetype maximumLines, QObject* parent)
    : QObject(parent)
    , maximumLines_(std::max<qsizetype>(1, maximumLines)) {
    observer_ = ConsoleLog::addObserver([this](std::string_view text) {
        const std::lock_guard lock(mutex_);
        pending_.append(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
        if (deliveryPosted_) return;
        deliveryPosted_ = true;
        QMetaObject::invokeMethod(this, &ConsoleLogRecord::deliver, Qt::QueuedConnection);
    });
}

ConsoleLogRecord::~ConsoleLogRecord() {
    // After this returns no thread is inside the observer; a delivery still queued dies with us.
    ConsoleLog::removeObserver(observer_);
}

void ConsoleLogRecord::deliver() {
    QStringList batch;
    {
        const std::lock_guard lock(mutex_);
        batch.swap(pending_);
        deliveryPosted_ = false;
    }
    if (batch.isEmpty()) return;
    lines_.append(batch);
    if (lines_.size() > maximumLines_) lines_.remove(0, lines_.size() - maximumLines_);
    emit linesAppended(batch);
}

ConsoleLogWindow::ConsoleLogWindow(ConsoleLogRecord& record, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , text_(new QPlainTextEdit(this))
    , saveButton_(new QPushButton(tr("Save…"), this))
    , clearButton_(new QPushButton(tr("Clear"), this))
    , countLabel_(new QLabel(this)) {
    setWindowTitle(tr("Console Log"));
    setObjectName(QStringLiteral("consoleLogWindow"));
    resize(760, 460);

    text_->setReadOnly(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setLineWrapMode(QPlainTextEdit::NoWrap);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setMaximumBlockCount(20000);
    text_->setAccessibleName(tr("Console log"));
    text_->setToolTip(tr("Everything Lorvan logged during this run; select text and press %1 to copy")
                          .arg(QKeySequence(QKeySequence::Copy).toString(QKeySequence::NativeText)));

    const QKeySequence saveKeys(QKeySequence::Save);
    saveButton_->setIcon(actionIcon(ActionIcon::save));
    saveButton_->setAccessibleName(tr("Save the console log"));
    saveButton_->setToolTip(
        tr("Save the console log as a text file (%1)").arg(saveKeys.toString(QKeySequence::NativeText)));
    auto* saveShortcut = new QShortcut(saveKeys, this);
    connect(saveShortcut, &QShortcut::activated, this, &ConsoleLogWindow::save);
    connect(saveButton_, &QPushButton::clicked, this, &ConsoleLogWindow::save);

    clearButton_->setIcon(actionIcon(ActionIcon::clear));
    clearButton_->setAccessibleName(tr("Clear the console log view"));
    clearButton_->setToolTip(tr("Clear the view; new lines keep arriving"));
    connect(clearButton_, &QPushButton::clicked, this, [this] {
        text_->clear();
        countLabel_->clear();
    });

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(countLabel_, 1);
    buttons->addWidget(clearButton_);
    buttons->addWidget(saveButton_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text_, 1);
    layout->addLayout(buttons);
    setTabOrder(text_, clearButton_);
    setTabOrder(clearButton_, saveButton_);

    append(record.lines());
    connect(&record, &ConsoleLogRecord::linesAppended, this, &ConsoleLogWindow::append);
}

void ConsoleLogWindow::append(const QStringList& lines) {
    if (lines.isEmpty()) return;
    QScrollBar* bar = text_->verticalScrollBar();
    const bool following = bar->value() >= bar->maximum() - 2;
    const int horizontal = text_->horizontalScrollBar()->value();
    text_->appendPlainText(lines.join(QLatin1Char('\n')));
    if (following) bar->setValue(bar->maximum());
    text_->horizontalScrollBar()->setValue(horizontal);
    const int count = text_->blockCount();
    countLabel_->setText(count == 1 ? tr("1 line") : tr("%1 lines").arg(count));
}

bool ConsoleLogWindow::saveTo(const QString& path) {
    QSaveFile file(path);
    QByteArray data = text_->toPlainText().toUtf8();
    if (!data.isEmpty()) data.append('\n');
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        if (isVisible())
            QMessageBox::warning(this, tr("Console Log"),
                                 tr("The console log could not be saved to “%1”.").arg(path),
                                 QMessageBox::Ok);
        return false;
    }
    return true;
}

void ConsoleLogWindow::save() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString path = QFileDialog::getSaveFileName(this, tr("Save Console Log"),
                                                      folder + QStringLiteral("/Lorvan Console Log.txt"),
                                                      tr("Text files (*.txt)"));
    if (!path.isEmpty()) saveTo(path);
}

} // namespace lorvan
