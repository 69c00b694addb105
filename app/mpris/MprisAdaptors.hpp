#pragma once

// The D-Bus interfaces as Qt adaptors: the two MPRIS interfaces, thin forwarders to
// `MprisService`, which reads the view model and calls the player; and the application's own
// interface, for `ApplicationService`.

#include "app/mpris/MprisService.hpp"
#include "app/mpris/SingleInstance.hpp"

#include <QDBusAbstractAdaptor>
#include <QDBusContext>
#include <QDBusObjectPath>
#include <QStringList>
#include <QVariantMap>

namespace lorvan::mpris {

/// The object the adaptors hang on. Qt gives the D-Bus context of a call to this object, not
/// to the adaptor, so error replies go through it.
class BusObject : public QObject, public QDBusContext {
    Q_OBJECT
};

class RootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit)
    Q_PROPERTY(bool CanRaise READ canRaise)
    Q_PROPERTY(bool HasTrackList READ hasTrackList)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ supportedUriSchemes)
    Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes)

public:
    RootAdaptor(MprisService& service, BusObject* host);

    [[nodiscard]] bool canQuit() const;
    [[nodiscard]] bool canRaise() const;
    [[nodiscard]] bool hasTrackList() const { return false; }
    [[nodiscard]] QString identity() const;
    [[nodiscard]] QString desktopEntry() const;
    [[nodiscard]] QStringList supportedUriSchemes() const;
    [[nodiscard]] QStringList supportedMimeTypes() const;

public slots:
    void Raise();
    void Quit();

private:
    MprisService& service_;
};

class PlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(bool Shuffle READ shuffle WRITE setShuffle)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double MinimumRate READ minimumRate)
    Q_PROPERTY(double MaximumRate READ maximumRate)
    Q_PROPERTY(bool CanGoNext READ canGoNext)
    Q_PROPERTY(bool CanGoPrevious READ hasDisc)
    Q_PROPERTY(bool CanPlay READ hasDisc)
    Q_PROPERTY(bool CanPause READ hasDisc)
    Q_PROPERTY(bool CanSeek READ hasDisc)
    Q_PROPERTY(bool CanControl READ canControl)

public:
    PlayerAdaptor(MprisService& service, BusObject* host);

    [[nodiscard]] QString playbackStatus() const { return service_.playbackStatus(); }
    [[nodiscard]] QString loopStatus() const { return service_.loopStatus(); }
    void setLoopStatus(const QString& status) { service_.setLoopStatus(status); }
    [[nodiscard]] double rate() const { return service_.rate(); }
    void setRate(double rate) { service_.setRate(rate); }
    [[nodiscard]] bool shuffle() const { return service_.shuffle(); }
    void setShuffle(bool shuffle) { service_.setShuffle(shuffle); }
    [[nodiscard]] QVariantMap metadata() const { return service_.metadata(); }
    [[nodiscard]] double volume() const { return service_.volume(); }
    void setVolume(double volume) { service_.setVolume(volume); }
    [[nodiscard]] qlonglong position() const { return service_.position(); }
    [[nodiscard]] double minimumRate() const;
    [[nodiscard]] double maximumRate() const;
    [[nodiscard]] bool canGoNext() const { return service_.canGoNext(); }
    [[nodiscard]] bool hasDisc() const { return service_.hasDisc(); }
    [[nodiscard]] bool canControl() const { return true; }

public slots:
    void Next() { service_.next(); }
    void Previous() { service_.previous(); }
    void Pause() { service_.pause(); }
    void PlayPause() { service_.playPause(); }
    void Stop() { service_.stop(); }
    void Play() { service_.play(); }
    void Seek(qlonglong Offset) { service_.seek(Offset); }
    void SetPosition(const QDBusObjectPath& TrackId, qlonglong Position) {
        service_.setPosition(TrackId.path(), Position);
    }
    void OpenUri(const QString& Uri);

signals:
    void Seeked(qlonglong Position);

private:
    MprisService& service_;
};

class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationAdaptor(ApplicationService& service, BusObject* host);

    void refuse(const QString& message);

public slots:
    void Activate(const QVariantMap& platform_data);
    void Open(const QStringList& uris, const QVariantMap& platform_data);
    void ActivateAction(const QString& action_name, const QVariantList& parameter,
                        const QVariantMap& platform_data);

private:
    ApplicationService& service_;
};

} // namespace lorvan::mpris
