#include "app/mpris/MprisService.hpp"

#include "app/identity/Identity.hpp"
#include "app/mpris/ArtworkCache.hpp"
#include "app/mpris/MprisAdaptors.hpp"
#include "app/mpris/MprisValues.hpp"
#include "core/LogEntry.hpp"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <cmath>
#include <set>

namespace lorvan::mpris {

namespace {

using State = AudioDiscPlayer::State;

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

/// Player values are floats: 0.8 reads 0.8 rather than 0.800000011920929.
double tidy(float value) {
    return std::round(static_cast<double>(value) * 1e6) / 1e6;
}

QStringList list(const std::optional<std::set<std::string>>& names) {
    QStringList result;
    if (names)
        for (const std::string& name : *names)
            result.push_back(QString::fromStdString(name));
    return result;
}

} // namespace

// MARK: - Adaptors

RootAdaptor::RootAdaptor(MprisService& service, BusObject* host)
    : QDBusAbstractAdaptor(host)
    , service_(service) {}

bool RootAdaptor::canQuit() const {
    return static_cast<bool>(service_.actions_.quit);
}

bool RootAdaptor::canRaise() const {
    return static_cast<bool>(service_.actions_.raise);
}

QString RootAdaptor::identity() const {
    return text(identity::appName);
}

QString RootAdaptor::desktopEntry() const {
    return text(identity::appId);
}

QStringList RootAdaptor::supportedUriSchemes() const {
    return {QStringLiteral("file")};
}

QStringList RootAdaptor::supportedMimeTypes() const {
    // What opens as a disc: a cue sheet, a folder, or an audio file (through its folder).
    return {QStringLiteral("application/x-cue"), QStringLiteral("inode/directory"),
            QStringLiteral("audio/flac"),        QStringLiteral("audio/x-flac"),
            QStringLiteral("audio/x-wav"),       QStringLiteral("audio/wav"),
            QStringLiteral("audio/x-aiff"),      QStringLiteral("audio/mpeg"),
            QStringLiteral("audio/mp4"),         QStringLiteral("audio/x-m4a")};
}

void RootAdaptor::Raise() {
    if (service_.actions_.raise) service_.actions_.raise();
}

void RootAdaptor::Quit() {
    // After the reply has gone out: quitting may take the service down with it.
    if (service_.actions_.quit) QTimer::singleShot(0, parent(), service_.actions_.quit);
}

PlayerAdaptor::PlayerAdaptor(MprisService& service, BusObject* host)
    : QDBusAbstractAdaptor(host)
    , service_(service) {}

double PlayerAdaptor::minimumRate() const {
    return tidy(AudioDiscPlayer::minimumRate);
}

double PlayerAdaptor::maximumRate() const {
    return tidy(AudioDiscPlayer::maximumRate);
}

void PlayerAdaptor::OpenUri(const QString& Uri) {
    const QString refusal = service_.openUri(Uri);
    if (!refusal.isEmpty())
        static_cast<BusObject*>(parent())->sendErrorReply(QDBusError::InvalidArgs, refusal);
}

// MARK: - Service

QString MprisService::busName() {
    return QStringLiteral("org.mpris.MediaPlayer2.lorvan");
}

MprisService::MprisService(PlaybackViewModel& viewModel, ApplicationActions actions,
                           QDBusConnection connection)
    : viewModel_(viewModel)
    , actions_(std::move(actions))
    , connection_(std::move(connection))
    , host_(std::make_unique<BusObject>()) {
    auto* host = static_cast<BusObject*>(host_.get());
    new RootAdaptor(*this, host);
    player_ = new PlayerAdaptor(*this, host);

    const auto watch = [this]<typename T>(Published<T>& value, std::initializer_list<const char*> names) {
        QStringList properties;
        for (const char* name : names)
            properties.push_back(QString::fromLatin1(name));
        subscriptions_.push_back(std::make_shared<typename Published<T>::Subscription>(
            value.subscribe([this, properties](const T&) { touch(properties); })));
    };
    // Whatever decides a property, so that it is announced whenever it may have changed.
    watch(viewModel_.disc, {"Metadata", "CanGoNext", "CanGoPrevious", "CanPlay", "CanPause", "CanSeek"});
    watch(viewModel_.playbackSequence, {"CanGoNext"});
    watch(viewModel_.currentTrackIndex, {"Metadata", "CanGoNext"});
    watch(viewModel_.state, {"PlaybackStatus", "CanGoNext"});
    watch(viewModel_.repeatMode, {"LoopStatus", "CanGoNext"});
    watch(viewModel_.shuffle, {"Shuffle"});
    watch(viewModel_.rate, {"Rate"});
    watch(viewModel_.volume, {"Volume"});
    subscriptions_.push_back(std::make_shared<Published<DiscSummary>::Subscription>(
        viewModel_.disc.subscribe([this](const DiscSummary&) { embeddedArtwork_.clear(); })));
    subscriptions_.push_back(std::make_shared<Published<PlaybackProgress>::Subscription>(
        viewModel_.progress().progress.subscribe([this](const PlaybackProgress& progress) {
            if (progress.jumped) seeked_ = true;
        })));
    subscriptions_.push_back(std::make_shared<Published<std::uint64_t>::Subscription>(
        viewModel_.updated.subscribe([this](std::uint64_t) { announce(); })));

    if (!connection_.isConnected()) {
        LogEntry::warning("Media controls are off: there is no session bus.").print();
        return;
    }
    if (!connection_.registerObject(QString::fromLatin1(objectPath), host_.get(),
                                    QDBusConnection::ExportAdaptors)) {
        LogEntry::warning("Media controls are off: " + connection_.lastError().message().toStdString())
            .print();
        return;
    }
    // A second process (started with --new-instance) takes a name of its own.
    for (const QString& name : {busName(), busName() + QStringLiteral(".instance") +
                                               QString::number(QCoreApplication::applicationPid())}) {
        if (connection_.registerService(name)) {
            name_ = name;
            return;
        }
    }
    LogEntry::warning("Media controls are off: " + connection_.lastError().message().toStdString()).print();
    connection_.unregisterObject(QString::fromLatin1(objectPath));
}

MprisService::~MprisService() {
    subscriptions_.clear();
    if (name_.isEmpty()) return;
    connection_.unregisterService(name_);
    connection_.unregisterObject(QString::fromLatin1(objectPath));
}

void MprisService::touch(const QStringList& properties) {
    for (const QString& name : properties)
        if (!changed_.contains(name)) changed_.push_back(name);
}

void MprisService::announce() {
    const QStringList changed = std::exchange(changed_, {});
    const bool seeked = std::exchange(seeked_, false);
    if (name_.isEmpty()) return;
    if (!changed.isEmpty()) {
        QVariantMap values;
        for (const QString& name : changed)
            values.insert(name, player_->property(name.toLatin1().constData()));
        QDBusMessage signal = QDBusMessage::createSignal(QString::fromLatin1(objectPath),
                                                         QStringLiteral("org.freedesktop.DBus.Properties"),
                                                         QStringLiteral("PropertiesChanged"));
        signal << QString::fromLatin1(playerInterface) << values << QStringList();
        connection_.send(signal);
    }
    // After the new track's metadata, so that clients place the position in the right track.
    if (seeked) emit player_->Seeked(position());
}

// MARK: Reading the view model

QString MprisService::playbackStatus() const {
    switch (viewModel_.state.value()) {
    case State::playing:
        return QStringLiteral("Playing");
    case State::paused:
        return QStringLiteral("Paused");
    case State::stopped:
        break;
    }
    return QStringLiteral("Stopped");
}

QString MprisService::loopStatus() const {
    switch (viewModel_.repeatMode.value()) {
    case RepeatMode::track:
        return QStringLiteral("Track");
    case RepeatMode::disc:
        return QStringLiteral("Playlist");
    case RepeatMode::none:
        break;
    }
    return QStringLiteral("None");
}

bool MprisService::shuffle() const {
    return viewModel_.shuffle.value();
}

double MprisService::rate() const {
    return tidy(viewModel_.rate.value());
}

double MprisService::volume() const {
    return tidy(viewModel_.volume.value());
}

qlonglong MprisService::position() const {
    const DiscSummary& disc = viewModel_.disc.value();
    return microseconds(
        positionFrames(disc, viewModel_.currentTrackIndex.value(), viewModel_.progress().progress.value()),
        disc.sampleRate);
}

bool MprisService::hasDisc() const {
    return viewModel_.disc.value().disc != nullptr;
}

bool MprisService::canGoNext() const {
    if (!hasDisc()) return false;
    // Stopped, next track starts the first; repeat finds something after any track.
    if (viewModel_.state.value() == State::stopped || viewModel_.repeatMode.value() != RepeatMode::none)
        return true;
    const std::vector<long>& sequence = viewModel_.playbackSequence.value();
    const auto track = viewModel_.currentTrackIndex.value();
    if (!track) return false;
    const auto at = std::find(sequence.begin(), sequence.end(), *track);
    return at != sequence.end() && std::next(at) != sequence.end();
}

QString MprisService::currentTrackPath() const {
    const DiscSummary& disc = viewModel_.disc.value();
    const auto track = viewModel_.currentTrackIndex.value();
    if (!disc.disc || !track || !trackSpan(disc, *track)) return {};
    return QString::fromStdString(
        trackObjectPath(disc.disc->id, disc.tracks[static_cast<std::size_t>(*track)].number));
}

QVariantMap MprisService::metadata() const {
    const DiscSummary& disc = viewModel_.disc.value();
    const auto trackIndex = viewModel_.currentTrackIndex.value();
    const QString path = currentTrackPath();
    if (path.isEmpty()) return {};
    const auto at = static_cast<std::size_t>(*trackIndex);
    const TrackSummary& track = disc.tracks[at];
    const AudioMetadata* release = disc.disc->metadata ? &*disc.disc->metadata : nullptr;
    const AudioTrackMetadata* tagged =
        release && release->tracksMetadata && at < release->tracksMetadata->size()
            ? &(*release->tracksMetadata)[at]
            : nullptr;

    QVariantMap values;
    values.insert(QStringLiteral("mpris:trackid"), QVariant::fromValue(QDBusObjectPath(path)));
    values.insert(
        QStringLiteral("mpris:length"),
        static_cast<qlonglong>(microseconds(trackSpan(disc, *trackIndex)->lengthFrames, disc.sampleRate)));
    if (!track.title.empty())
        values.insert(QStringLiteral("xesam:title"), QString::fromStdString(track.title));
    QStringList artists = tagged ? list(tagged->performers) : QStringList();
    const QStringList albumArtists = release ? list(release->releasePerformers) : QStringList();
    if (artists.isEmpty()) artists = albumArtists;
    if (!artists.isEmpty()) values.insert(QStringLiteral("xesam:artist"), artists);
    if (!albumArtists.isEmpty()) values.insert(QStringLiteral("xesam:albumArtist"), albumArtists);
    if (!disc.title.empty()) values.insert(QStringLiteral("xesam:album"), QString::fromStdString(disc.title));
    values.insert(QStringLiteral("xesam:trackNumber"), static_cast<int>(track.number));
    if (release && release->discNumber)
        values.insert(QStringLiteral("xesam:discNumber"), static_cast<int>(*release->discNumber));
    // Media controls take a file: the disc's artwork file, else the picture in the track's file.
    const std::optional<std::filesystem::path> art =
        disc.artworkPath ? std::optional<std::filesystem::path>(*disc.artworkPath)
                         : embeddedArtwork(*disc.disc, track.startFrame);
    if (art)
        values.insert(
            QStringLiteral("mpris:artUrl"),
            QUrl::fromLocalFile(QString::fromStdString(art->string())).toString(QUrl::FullyEncoded));
    return values;
}

std::optional<std::filesystem::path> MprisService::embeddedArtwork(const AudioDisc& disc,
                                                                   std::int64_t frame) const {
    if (!disc.data) return std::nullopt;
    const auto location = disc.data->frameLocation(frame);
    if (!location || location->fileIndex >= disc.data->audioFiles().size()) return std::nullopt;
    const std::filesystem::path file = disc.data->audioFiles()[location->fileIndex]->url().path();
    const auto [entry, added] = embeddedArtwork_.try_emplace(file);
    if (added)
        if (const auto picture = platform::readEmbeddedPicture(file))
            entry->second = cachedPicture(*picture, artworkCacheDirectory());
    return entry->second;
}

// MARK: Commands

void MprisService::setLoopStatus(const QString& status) {
    const auto player = viewModel_.player();
    if (!player) return;
    if (status == QLatin1String("None"))
        player->setRepeatMode(RepeatMode::none);
    else if (status == QLatin1String("Track"))
        player->setRepeatMode(RepeatMode::track);
    else if (status == QLatin1String("Playlist"))
        player->setRepeatMode(RepeatMode::disc);
    else
        LogEntry::warning("Media controls asked for an unknown loop status: " + status.toStdString()).print();
}

void MprisService::setShuffle(bool shuffle) {
    const auto player = viewModel_.player();
    if (player && shuffle != viewModel_.shuffle.value()) player->toggleShuffle();
}

void MprisService::setRate(double rate) {
    const auto player = viewModel_.player();
    if (!player || std::isnan(rate)) return;
    if (rate == 0.0) {
        pause();
        return;
    }
    player->setPlaybackRate(static_cast<float>(std::clamp(rate, -1e6, 1e6)));
}

void MprisService::setVolume(double volume) {
    const auto player = viewModel_.player();
    if (!player || std::isnan(volume)) return;
    // As the window's volume dial, which is there only with the amplifier on.
    if (!viewModel_.amplifier.value()) player->setAmplifierIsActive(true);
    player->setVolume(static_cast<float>(std::clamp(volume, -1.0, 2.0)));
}

void MprisService::play() {
    if (const auto player = viewModel_.player()) player->play();
}

void MprisService::pause() {
    const auto player = viewModel_.player();
    if (player && viewModel_.state.value() == State::playing) player->playPause();
}

void MprisService::playPause() {
    if (const auto player = viewModel_.player()) player->playPause();
}

void MprisService::stop() {
    // Stopping a stopped player would eject the disc.
    const auto player = viewModel_.player();
    if (player && viewModel_.state.value() != State::stopped) player->stopEject();
}

void MprisService::next() {
    if (const auto player = viewModel_.player()) player->nextTrack();
}

void MprisService::previous() {
    if (const auto player = viewModel_.player()) player->previousTrack();
}

void MprisService::seekInTrack(std::int64_t frames) {
    const DiscSummary& disc = viewModel_.disc.value();
    const auto span = trackSpan(disc, viewModel_.currentTrackIndex.value().value_or(-1));
    const auto player = viewModel_.player();
    if (!span || !player || span->lengthFrames == 0) return;
    // The span's end is the next track's first frame, or past the last track the end of the disc.
    player->seekToFrame(span->firstFrame + std::min(frames, span->lengthFrames - 1), false);
}

void MprisService::seek(qlonglong offset) {
    const DiscSummary& disc = viewModel_.disc.value();
    const auto span = trackSpan(disc, viewModel_.currentTrackIndex.value().value_or(-1));
    if (!span) return;
    const qlonglong now = position();
    const qlonglong length = microseconds(span->lengthFrames, disc.sampleRate);
    // Compared before adding, so that no offset a client sends can overflow.
    if (offset > length - now) {
        next();
    } else if (offset < -now) {
        seekInTrack(0);
    } else {
        seekInTrack(framesAt(now + offset, disc.sampleRate));
    }
}

void MprisService::setPosition(const QString& trackID, qlonglong position) {
    if (trackID.isEmpty() || trackID != currentTrackPath()) return;
    const DiscSummary& disc = viewModel_.disc.value();
    const auto span = trackSpan(disc, *viewModel_.currentTrackIndex.value());
    if (position < 0 || position > microseconds(span->lengthFrames, disc.sampleRate)) return;
    seekInTrack(framesAt(position, disc.sampleRate));
}

QString MprisService::openUri(const QString& uri) {
    const QUrl url(uri);
    if (!url.isValid() || !url.isLocalFile()) return QStringLiteral("Only file URIs can be opened: ") + uri;
    if (!actions_.open) return QStringLiteral("Nothing can be opened here.");
    const QString path = url.toLocalFile();
    if (!actions_.open(std::filesystem::path(path.toStdString())))
        return QStringLiteral("The disc could not be opened: ") + path;
    return {};
}

} // namespace lorvan::mpris
