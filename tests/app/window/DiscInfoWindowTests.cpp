#include "WindowTestSupport.hpp"
#include "app/window/DiscInfoWindow.hpp"
#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheet.hpp"
#include "disc/AudioDisc.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <QClipboard>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

/// The demo disc as `lorvan-cli demo` writes it, assembled the way the window's player does,
/// and what `lorvan-cli info --json` says about the same sheet.
struct DemoDisc {
    QTemporaryDir folder;
    std::optional<AudioDisc> disc;
    QJsonObject info;
};

std::unique_ptr<DemoDisc> makeDemo(const QStringList& extra = {}) {
    auto demo = std::make_unique<DemoDisc>();
    QProcess cli;
    cli.start(LORVAN_CLI, QStringList{"demo", "--dir", demo->folder.path()} + extra);
    if (!cli.waitForFinished(120000) || cli.exitCode() != 0) return nullptr;
    const QStringList sheets = QDir(demo->folder.path()).entryList({"*.cue"});
    if (sheets.size() != 1) return nullptr;
    const QString sheet = demo->folder.filePath(sheets.front());
    ConsoleLog::discard();
    demo->disc.emplace(
        AudioDisc::fromCueSheet(CueSheet(Url::fileURL(sheet.toStdString())), platform::audioDiscServices()));
    ConsoleLog::setOutput(nullptr);
    cli.start(LORVAN_CLI, {"info", "--json", sheet});
    if (!cli.waitForFinished(120000) || cli.exitCode() != 0) return nullptr;
    demo->info = QJsonDocument::fromJson(cli.readAllStandardOutput()).object();
    return demo;
}

TEST(DiscInfoWindow, ShowsTheDemoDiscIdentifiersTablesAndExactLookupPage) {
    test::application();
    const auto demo = makeDemo();
    ASSERT_TRUE(demo);
    const QJsonObject ids = demo->info["onlineID"].toObject();
    ASSERT_FALSE(ids.isEmpty()) << "the demo is a CD-shaped disc";

    std::vector<QUrl> opened;
    DiscInfoWindow window(nullptr, [&](const QUrl& url) {
        opened.push_back(url);
        return true;
    });
    window.setDisc(&*demo->disc);

    using Id = DiscInfoWindow::Identifier;
    const QString musicBrainz = window.identifierText(Id::musicBrainz);
    EXPECT_EQ(musicBrainz, ids["musicBrainz"].toString());
    // 20 SHA-1 bytes in MusicBrainz's base64: 28 characters from its alphabet, padded with '-'.
    EXPECT_TRUE(QRegularExpression("^[A-Za-z0-9._]{27}-$").match(musicBrainz).hasMatch())
        << musicBrainz.toStdString();
    EXPECT_EQ(window.identifierText(Id::accurateRipV1), ids["accurateRipV1"].toString());
    EXPECT_EQ(window.identifierText(Id::accurateRipV2), ids["accurateRipV2"].toString());
    EXPECT_EQ(window.identifierText(Id::freeDB), ids["freedb"].toString());
    for (Id id : {Id::accurateRipV1, Id::accurateRipV2, Id::freeDB})
        EXPECT_TRUE(QRegularExpression("^[0-9a-f]{8}$").match(window.identifierText(id)).hasMatch());

    window.copyButton(Id::accurateRipV2)->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), ids["accurateRipV2"].toString());
    window.copyButton(Id::musicBrainz)->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), musicBrainz);

    window.lookupButton()->click();
    ASSERT_EQ(opened.size(), 1u);
    // Byte for byte: no percent-encoding of the '.', '_' or '-' the ID may hold, no trailing slash.
    EXPECT_EQ(opened.front().toString(QUrl::FullyEncoded), "https://musicbrainz.org/cdtoc/" + musicBrainz);
    EXPECT_EQ(opened.front().toString(QUrl::FullyEncoded), ids["musicBrainzURL"].toString());

    const auto tocText = [&](TOCMode mode) {
        QStringList lines;
        for (const std::string& line :
             demo->disc->tableOfContents(mode, AudioDisc::TrackLengthMode::includingNextTrackPregap))
            lines << QString::fromStdString(line);
        return lines.join('\n');
    };
    EXPECT_EQ(window.tableOfContents(0), tocText(TOCMode::cues));
    EXPECT_EQ(window.tableOfContents(1), tocText(TOCMode::tracksRipper));
    EXPECT_EQ(window.tableOfContents(2), tocText(TOCMode::tracksMusicBrainz));
    EXPECT_TRUE(window.tableOfContents(2).contains("Sectors"));
    // One line per cue below a three-line header.
    EXPECT_EQ(window.tableOfContents(0).count('\n') + 1, 3 + static_cast<long>(demo->disc->cues.size()));

    window.setDisc(nullptr);
    EXPECT_TRUE(window.identifierText(Id::musicBrainz).isEmpty());
    EXPECT_FALSE(window.lookupButton()->isEnabled());
    EXPECT_FALSE(window.copyButton(Id::freeDB)->isEnabled());
    EXPECT_TRUE(window.tableOfContents(1).isEmpty());
    opened.clear();
    window.lookupButton()->click();
    EXPECT_TRUE(opened.empty());
}

TEST(DiscInfoWindow, AFolderDiscHasNoIdentifiersToLookUp) {
    test::application();
    const auto demo = makeDemo({"--split"});
    ASSERT_TRUE(demo);
    QFile::remove(demo->folder.filePath(QDir(demo->folder.path()).entryList({"*.cue"}).front()));
    ConsoleLog::discard();
    const AudioDisc folder = AudioDisc::fromDirectory(Url::fileURL(demo->folder.path().toStdString()),
                                                      platform::audioDiscServices());
    ConsoleLog::setOutput(nullptr);
    DiscInfoWindow window(nullptr, [](const QUrl&) {
        ADD_FAILURE() << "nothing to look up";
        return false;
    });
    window.setDisc(&*demo->disc);
    ASSERT_TRUE(window.lookupButton()->isEnabled());
    window.setDisc(&folder);
    EXPECT_FALSE(window.lookupButton()->isEnabled()) << "the previous disc's page must not stay";
    EXPECT_TRUE(window.identifierText(DiscInfoWindow::Identifier::freeDB).isEmpty());
    EXPECT_EQ(window.tableOfContents(2), "N/A: Disc is not CDDA");
    window.lookupButton()->click();
}

} // namespace
} // namespace lorvan
