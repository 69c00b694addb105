#pragma once

#include "disc/AudioDisc.hpp"

#include <QAbstractTableModel>
#include <memory>
#include <optional>

namespace lorvan::window {

/// The disc's tracks as table rows: number, title, performer, length and pregap, the playing
/// one marked.
class TrackListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { number, title, performer, length, pregap, columns };

    explicit TrackListModel(QObject* parent = nullptr);

    void setDisc(std::shared_ptr<const AudioDisc> disc);
    void setPlayingTrack(std::optional<long> track);
    [[nodiscard]] std::optional<long> playingTrack() const { return playing_; }

    /// Frames before the track's INDEX 01 that belong to it (INDEX 00), 0 without a pregap.
    [[nodiscard]] static std::int64_t pregapFrames(const AudioDisc& disc, const AudioTrack& track);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::shared_ptr<const AudioDisc> disc_;
    std::optional<long> playing_;
};

} // namespace lorvan::window
