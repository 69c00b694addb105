#pragma once

#include <QStringList>
#include <QWidget>
#include <cstdint>
#include <mutex>

class QPlainTextEdit;
class QPushButton;
class QLabel;

namespace lorvan {

/// The console log of this run as the window shows it: every text written to ConsoleLog since
/// this record was made (the newest `maximumLines`), and a signal for each batch that arrives.
/// Lines come from any thread; they are gathered under a lock and handed to the main thread
/// in batches, one queued call per batch, so a burst of logging costs the main thread one
/// wake-up. Create it on the main thread as early as possible so the window shows the whole run.
class ConsoleLogRecord : public QObject {
    Q_OBJECT
public:
    explicit ConsoleLogRecord(qsizetype maximumLines = 20000, QObject* parent = nullptr);
    ~ConsoleLogRecord() override;

    /// Main thread.
    [[nodiscard]] const QStringList& lines() const { return lines_; }

signals:
    /// Main thread, in the order the log took them.
    void linesAppended(const QStringList& lines);

private:
    void deliver();

    const qsizetype maximumLines_;
    QStringList lines_;
    std::mutex mutex_;
    QStringList pending_;
    bool deliveryPosted_ = false;
    std::uint64_t observer_ = 0;
};

/// "Console Log": the run's log, live, read-only but selectable, and savable as a text file.
class ConsoleLogWindow : public QWidget {
    Q_OBJECT
public:
    explicit ConsoleLogWindow(ConsoleLogRecord& record, QWidget* parent = nullptr);

    /// Writes the log shown to `path` as UTF-8 text; false (and a message box when visible) on failure.
    bool saveTo(const QString& path);
    /// Asks where to save, then saves.
    void save();

    [[nodiscard]] QPlainTextEdit* textView() const { return text_; }

private:
    void append(const QStringList& lines);

    QPlainTextEdit* text_;
    QPushButton* saveButton_;
    QPushButton* clearButton_;
    QLabel* countLabel_;
};

} // namespace lorvan
