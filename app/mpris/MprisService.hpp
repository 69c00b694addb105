#pragma once

#include "presentation/PlaybackViewModel.hpp"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace lorvan::mpris {

class PlayerAdaptor;

/// What media controls may ask of the application itself rather than of its player.
struct ApplicationActions {
    /// Brings the window forward; empty: media controls are told the application cannot raise.
    std::function<void()> raise;
    /// Ends the application; empty: it cannot quit. Called from the event loop after the
    /// request has been answered.
    std::function<void()> quit;
    /// Opens a cue sheet, a folder or an audio file as the disc and plays it; false when it was
    /// refused (the owner has told the user why). Empty: nothing can be opened.
    std::function<bool(const std::filesystem::path&)> open;
};

/// The desktop's media controls (MPRIS 2) for the player of a process: the application and
/// player interfaces at /org/mpris/MediaPlayer2 under the bus name "org.mpris.MediaPlayer2.lorvan"
/// (or, when another process holds that, the same with ".instance<pid>").
///
/// Everything it reports is read from the view model when asked for or when the view model
/// publishes; it keeps no state of the player's. Commands go to the player the view model
/// observes, through the same operations the window uses. Each publication that changed what
/// media controls show is announced in one PropertiesChanged signal (the position excepted,
/// which clients read when they need it), and each jump of the position (a seek, a track or
/// chapter change by the user, a stop, another disc) in a Seeked signal, never steady play.
///
/// Threading: main thread only, with Qt's event loop running, which answers the bus. The view
/// model must outlive the service.
class MprisService {
public:
    static constexpr const char* objectPath = "/org/mpris/MediaPlayer2";
    static constexpr const char* playerInterface = "org.mpris.MediaPlayer2.Player";
    /// "org.mpris.MediaPlayer2.lorvan".
    [[nodiscard]] static QString busName();

    /// Registers on `connection`; when that fails (no session bus), logs a warning and the
    /// service stays silent: `registeredName()` is empty.
    MprisService(PlaybackViewModel& viewModel, ApplicationActions actions,
                 QDBusConnection connection = QDBusConnection::sessionBus());
    ~MprisService();
    MprisService(const MprisService&) = delete;
    MprisService& operator=(const MprisService&) = delete;

    /// The bus name held; empty when not registered.
    [[nodiscard]] const QString& registeredName() const { return name_; }

private:
    friend class PlayerAdaptor;
    friend class RootAdaptor;

    // Read from the view model.
    [[nodiscard]] QString playbackStatus() const;
    [[nodiscard]] QString loopStatus() const;
    [[nodiscard]] bool shuffle() const;
    [[nodiscard]] double rate() const;
    [[nodiscard]] double volume() const;
    [[nodiscard]] qlonglong position() const;
    [[nodiscard]] QVariantMap metadata() const;
    [[nodiscard]] bool hasDisc() const;
    [[nodiscard]] bool canGoNext() const;

    // Commands, to the player.
    void setLoopStatus(const QString& status);
    void setShuffle(bool shuffle);
    void setRate(double rate);
    void setVolume(double volume);
    void play();
    void pause();
    void playPause();
    void stop();
    void next();
    void previous();
    void seek(qlonglong offset);
    void setPosition(const QString& trackID, qlonglong position);
    /// An error message for the caller, empty when the disc was opened.
    [[nodiscard]] QString openUri(const QString& uri);

    [[nodiscard]] QString currentTrackPath() const;
    /// The picture embedded in the file that holds `frame`, kept in the artwork cache; read
    /// once per file and disc.
    [[nodiscard]] std::optional<std::filesystem::path> embeddedArtwork(const AudioDisc& disc,
                                                                       std::int64_t frame) const;
    void seekInTrack(std::int64_t frames);
    /// Marks properties to announce with the next publication's `updated`.
    void touch(const QStringList& properties);
    void announce();

    PlaybackViewModel& viewModel_;
    ApplicationActions actions_;
    QDBusConnection connection_;
    QString name_;
    std::unique_ptr<QObject> host_;
    PlayerAdaptor* player_ = nullptr;
    QStringList changed_;
    /// The view model published a jump since the last announcement.
    bool seeked_ = false;
    /// The cached picture of each audio file of the disc asked about so far, none for a file
    /// without one: the tags are read once, not on every request for the metadata.
    mutable std::map<std::filesystem::path, std::optional<std::filesystem::path>> embeddedArtwork_;
    std::vector<std::shared_ptr<void>> subscriptions_;
};

} // namespace lorvan::mpris
