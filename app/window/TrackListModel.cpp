#include "TrackListModel.hpp"

#include "presentation/PlaybackDisplayState.hpp"

#include <QFont>

namespace lorvan::window {

TrackListModel::TrackListModel(QObject* parent)
    : QAbstractTableModel(parent) {}

void TrackListModel::setDisc(const DiscSummary& disc) {
    beginResetModel();
    tracks_ = disc.tracks;
    sampleRate_ = disc.sampleRate;
    playing_.reset();
    endResetModel();
}

void TrackListModel::setPlayingTrack(std::optional<long> track) {
    if (track == playing_) return;
    const auto old = playing_;
    playing_ = track;
    for (const auto row : {old, track})
        if (row && *row >= 0 && *row < rowCount())
            emit dataChanged(index(static_cast<int>(*row), 0), index(static_cast<int>(*row), columns - 1));
}

std::int64_t TrackListModel::lengthFrames(long row) const {
    if (row < 0 || static_cast<std::size_t>(row) >= tracks_.size()) return 0;
    return tracks_[static_cast<std::size_t>(row)].lengthFrames;
}

int TrackListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(tracks_.size());
}

int TrackListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant TrackListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const long row = index.row();
    const TrackSummary& track = tracks_[static_cast<std::size_t>(row)];
    const bool playing = playing_ == row;
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case number:
            return playing ? QStringLiteral("\u25B6") : QString::number(row + 1);
        case title:
            return track.title.empty() ? tr("Track %1").arg(track.number)
                                       : QString::fromStdString(track.title);
        case performer:
            return QString::fromStdString(track.performer);
        case length:
            return QString::fromStdString(displayTime(lengthFrames(row), sampleRate_));
        case pregap:
            return track.pregapFrames > 0
                       ? QString::fromStdString(displayTime(track.pregapFrames, sampleRate_))
                       : QString();
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
