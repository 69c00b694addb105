#include "WindowTestSupport.hpp"
#include "app/window/ConsoleLogWindow.hpp"
#include "core/ConsoleLog.hpp"

#include <QCoreApplication>
#include <QFile>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTextBlock>
#include <gtest/gtest.h>
#include <thread>

namespace lorvan::test {
namespace {

TEST(ConsoleLogWindow, ShowsEarlierLinesAndLinesFromOtherThreadsInBatchesAndSavesThemAsUtf8) {
    application();
    ConsoleLog::discard();
    ConsoleLogRecord record(/*maximumLines=*/500);
    ConsoleLog::write("before the window: Ünïcode ✓");

    int batches = 0;
    QObject::connect(&record, &ConsoleLogRecord::linesAppended, [&](const QStringList&) { ++batches; });
    processEventsUntil([&] { return record.lines().size() == 1; });
    ConsoleLogWindow window(record);
    EXPECT_EQ(window.textView()->toPlainText(), QString::fromUtf8("before the window: Ünïcode ✓"));
    EXPECT_TRUE(window.textView()->isReadOnly());
    EXPECT_TRUE(window.textView()->textInteractionFlags() & Qt::TextSelectableByMouse);

    const int before = batches;
    std::thread writer([] {
        for (int i = 0; i < 300; ++i)
            ConsoleLog::write("worker line " + std::to_string(i));
    });
    writer.join();
    ASSERT_TRUE(processEventsUntil([&] { return record.lines().size() == 301; }));
    EXPECT_LT(batches - before, 300) << "lines written in a burst reach the main thread together";
    EXPECT_EQ(window.textView()->blockCount(), 301);
    EXPECT_EQ(window.textView()->document()->findBlockByNumber(300).text(), "worker line 299");
    EXPECT_EQ(window.textView()->document()->findBlockByNumber(1).text(), "worker line 0");

    // Saved as shown, each line ended, the non-ASCII line in UTF-8.
    QTemporaryDir folder;
    ASSERT_TRUE(window.saveTo(folder.filePath("log.txt")));
    QFile file(folder.filePath("log.txt"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray saved = file.readAll();
    EXPECT_TRUE(saved.startsWith("before the window: Ünïcode ✓\nworker line 0\n"));
    EXPECT_TRUE(saved.endsWith("\nworker line 299\n"));
    EXPECT_EQ(saved.count('\n'), 301);
    EXPECT_FALSE(window.saveTo(folder.filePath("missing/folder/log.txt")));

    // The record keeps the newest lines only.
    for (int i = 0; i < 400; ++i)
        ConsoleLog::write("more " + std::to_string(i));
    ASSERT_TRUE(processEventsUntil([&] { return record.lines().back() == "more 399"; }));
    EXPECT_EQ(record.lines().size(), 500);
    EXPECT_EQ(record.lines().front(), "worker line 200");
    ConsoleLog::setOutput(nullptr);
}

} // namespace
} // namespace lorvan::test
