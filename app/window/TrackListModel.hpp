#pragma once

#include "presentation/PlaybackViewModel.hpp"

#include <QAbstractTableModel>
#include <optional>
#include <vector>

namespace lorvan::window {

/// The disc's tracks as table rows: number, title, performer, length and pregap, the playing
/// one marked. The length runs from the track's INDEX 01 to the next track's INDEX 00, so that
/// with the pregaps the rows add up to the disc; the pregap is shown only where a track has one.
class TrackListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { number, title, performer, length, pregap, columns };

    explicit TrackListModel(QObject* parent = nullptr);

    void setDisc(const DiscSummary& disc);
    void setPlayingTrack(std::optional<long> track);
    [[nodiscard]] std::optional<long> playingTrack() const { return playing_; }

    /// Frames from `row`'s INDEX 01 to the next track's INDEX 00 (the disc's end for the last).
    [[nodiscard]] std::int64_t lengthFrames(long row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<TrackSummary> tracks_;
    double sampleRate_ = 0;
    std::optional<long> playing_;
};

} // namespace lorvan::window
