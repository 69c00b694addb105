#include "WindowTestSupport.hpp"
#include "app/window/DiscInfoWindow.hpp"
#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheet.hpp"
#include "disc/AudioDisc.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "support/TestSupport.hpp"

#include <QClipboard>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

/// The disc at `url` assembled the way the window's player does, its log kept quiet.
template <typename Assemble> AudioDisc quietly(Assemble assemble) {
    ConsoleLog::discard();
    AudioDisc disc = assemble(platform::audioDiscServices());
    ConsoleLog::setOutput(nullptr);
    return disc;
}

// The identifiers are compared with what `lorvan-cli info --json` says about the same sheet: a
// field shown under the wrong name (the two AccurateRip IDs swapped) fails here.
TEST(DiscInfoWindow, ShowsTheDemoDiscIdentifiersTablesAndExactLookupPage) {
    (void)application();
    const AudioDisc disc = quietly([](const AudioDiscServices& services) {
        return AudioDisc::fromCueSheet(CueSheet(Url::fileURL(demoCueSheet())), services);
    });
    const ProcessRun info = runProcess(LORVAN_CLI, "info --json " + shellQuoted(demoCueSheet()));
    ASSERT_EQ(info.status, 0);
    const QJsonObject ids =
        QJsonDocument::fromJson(QByteArray::fromStdString(info.out)).object()["onlineID"].toObject();
    ASSERT_FALSE(ids.isEmpty()) << "the demo is a CD-shaped disc";

    std::vector<QUrl> opened;
    DiscInfoWindow window(nullptr, [&](const QUrl& url) {
        opened.push_back(url);
        return true;
    });
    window.setDisc(&disc);
    using Id = DiscInfoWindow::Identifier;
    const std::pair<Id, const char*> fields[] = {{Id::musicBrainz, "musicBrainz"},
                                                 {Id::accurateRipV1, "accurateRipV1"},
                                                 {Id::accurateRipV2, "accurateRipV2"},
                                                 {Id::freeDB, "freedb"}};
    for (const auto& [id, field] : fields) {
        SCOPED_TRACE(field);
        EXPECT_EQ(window.identifierText(id), ids[field].toString());
        window.copyButton(id)->click();
        EXPECT_EQ(QGuiApplication::clipboard()->text(), ids[field].toString());
    }

    window.lookupButton()->click();
    ASSERT_EQ(opened.size(), 1u);
    // Byte for byte: no percent-encoding of the '.', '_' or '-' the ID may hold, no trailing slash.
    EXPECT_EQ(opened.front().toString(QUrl::FullyEncoded),
              "https://musicbrainz.org/cdtoc/" + ids["musicBrainz"].toString());
    EXPECT_EQ(opened.front().toString(QUrl::FullyEncoded), ids["musicBrainzURL"].toString());

    const TOCMode tables[] = {TOCMode::cues, TOCMode::tracksRipper, TOCMode::tracksMusicBrainz};
    for (int table = 0; table < 3; ++table) {
        QStringList lines;
        for (const std::string& line :
             disc.tableOfContents(tables[table], AudioDisc::TrackLengthMode::includingNextTrackPregap))
            lines << QString::fromStdString(line);
        EXPECT_EQ(window.tableOfContents(table), lines.join('\n')) << "table " << table;
    }

    // A folder disc (the demo's audio alone) has no identifiers: the previous disc's page must not
    // stay, and there is nothing to look up.
    TemporaryDirectory folder;
    for (const auto& entry : std::filesystem::directory_iterator(demoCueSheet().parent_path()))
        if (entry.path().extension() == ".flac")
            std::filesystem::copy_file(entry.path(), folder.path() / entry.path().filename());
    const AudioDisc folderDisc = quietly([&](const AudioDiscServices& services) {
        return AudioDisc::fromDirectory(Url::fileURL(folder.path()), services);
    });
    for (const AudioDisc* shown : {&folderDisc, static_cast<const AudioDisc*>(nullptr)}) {
        SCOPED_TRACE(shown ? "folder disc" : "no disc");
        window.setDisc(&disc);
        window.setDisc(shown);
        EXPECT_TRUE(window.identifierText(Id::musicBrainz).isEmpty());
        EXPECT_TRUE(window.identifierText(Id::freeDB).isEmpty());
        EXPECT_FALSE(window.lookupButton()->isEnabled());
        EXPECT_FALSE(window.copyButton(Id::freeDB)->isEnabled());
        opened.clear();
        window.lookupButton()->click();
        EXPECT_TRUE(opened.empty());
    }
    window.setDisc(&folderDisc);
    EXPECT_EQ(window.tableOfContents(2), "N/A: Disc is not CDDA");
    window.setDisc(nullptr);
    EXPECT_TRUE(window.tableOfContents(1).isEmpty());
}

} // namespace
} // namespace lorvan::test
