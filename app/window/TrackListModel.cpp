#include "TrackListModel.hpp"

#include "PlayerMonitor.hpp"

#include <QFont>

namespace lorvan::window {

TrackListModel::TrackListModel(QObject* parent)
    : QAbstractTableModel(parent) {}

void TrackListModel::setDisc(std::shared_ptr<const AudioDisc> disc) {
    beginResetModel();
    disc_ = std::move(disc);
    playing_.reset();
    endResetModel();
}

void TrackListModel::setPlayingTrack(std::optional<long> track) {
    if (track == playing_) return;
    const auto old = playing_;
    playing_ = track;
    for (const auto row : {old, track})
        if (row && *row < rowCount())
            emit dataChanged(index(static_cast<int>(*row), 0), index(static_cast<int>(*row), columns - 1));
}

std::int64_t TrackListModel::pregapFrames(const AudioDisc& disc, const AudioTrack& track) {
    if (track.cueIndices.empty()) return 0;
    const AudioCue& first = disc.cues[track.cueIndices.front()];
    const auto start = disc.trackStartFrame(track);
    if (first.chapter != 0 || !start) return 0;
    return *start - first.keyFrame;
}

int TrackListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !disc_ ? 0 : static_cast<int>(disc_->tracks.size());
}

int TrackListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant TrackListModel::data(const QModelIndex& index, int role) const {
    if (!disc_ || !index.isValid() || index.row() >= rowCount()) return {};
    const long row = index.row();
    const AudioTrack& track = disc_->tracks[static_cast<std::size_t>(row)];
    const bool playing = playing_ == row;
    const double rate = disc_->data->audioFiles().empty()
                            ? 44100.0
                            : disc_->data->audioFiles().front()->processingFormat().sampleRate;
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case number:
            return playing ? QStringLiteral("\u25B6") : QString::number(row + 1);
        case title:
            return QString::fromStdString(trackTitle(*disc_, row));
        case performer:
            return QString::fromStdString(trackPerformer(*disc_, row));
        case length:
            return QString::fromStdString(clockText(
                disc_->trackLength(track, AudioDisc::TrackLengthMode::excludingNextTrackPregap), rate));
        case pregap: {
            const std::int64_t frames = pregapFrames(*disc_, track);
            return frames > 0 ? QString::fromStdString(clockText(frames, rate)) : QString();
        }
        default:
            return {};
        }
    case Qt::AccessibleTextRole:
        if (index.column() == number)
            return tr("Track %1%2").arg(row + 1).arg(playing ? tr(", playing") : QString());
        return data(index, Qt::DisplayRole);
    case Qt::TextAlignmentRole:
        if (index.column() == number || index.column() == length || index.column() == pregap)
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::FontRole:
        if (playing) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    case Qt::UserRole:
        return playing;
    default:
        return {};
    }
}

QVariant TrackListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
    case number:
        return QStringLiteral("#");
    case title:
        return tr("Title");
    case performer:
        return tr("Performer");
    case length:
        return tr("Length");
    case pregap:
        return tr("Pregap");
    default:
        return {};
    }
}

} // namespace lorvan::window
