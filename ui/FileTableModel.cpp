#include "ui/FileTableModel.h"

#include "engine/ClsConverter.h"
#include "ui/UiTools.h"

#include <QApplication>
#include <QColor>
#include <QPalette>

namespace vibrex {
namespace {

const char* const kTitles[FileTableModel::ColumnCount] = {
    "File name",        "File format", "Channels count", "Output format",
    "Output file name", "Status",      "Progress"};

QColor FromBgr(std::uint32_t bgr) {
    return QColor(static_cast<int>(bgr & 0xFF), static_cast<int>((bgr >> 8) & 0xFF),
                  static_cast<int>((bgr >> 16) & 0xFF));
}

} // namespace

FileTableModel::FileTableModel(ClsConverter& engine, QObject* parent)
    : QAbstractTableModel(parent), m_engine(engine), m_rows(engine.FilesCount()) {}

int FileTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows;
}

int FileTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant FileTableModel::data(const QModelIndex& index, int role) const {
    const int file = index.row();
    if (!index.isValid() || file >= m_engine.FilesCount()) {
        return {};
    }
    const QString path = ToQString(m_engine.FilePath(file));
    const QString outputPath = ToQString(m_engine.FileOutputPath(file));
    const bool autoNaming = m_engine.FileAutoNaming(file);
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case ColumnFileName:
            return FileNamePart(path);
        case ColumnFileFormat:
            return ToQString(FileFormatToString(m_engine.FileFormat(file)));
        case ColumnChannelsCount:
            return m_engine.FileChannelsCount(file);
        case ColumnOutputFormat:
            // No format chosen yet: an empty cell to fill in, not a format called "Unknown".
            return m_engine.FileOutputFormat(file) == FileFormat::Unknown
                       ? QString()
                       : ToQString(FileFormatToString(m_engine.FileOutputFormat(file)));
        case ColumnOutputFileName:
            return autoNaming ? QStringLiteral("Automatic naming") : FileNamePart(outputPath);
        case ColumnStatus:
            return ToQString(ClsConverter::ConversionStatusToString(m_engine.FileStatus(file)));
        default:
            return {};
        }
    case Qt::BackgroundRole:
        if (index.column() == ColumnStatus) {
            return FromBgr(ClsConverter::ConversionStatusToColor(m_engine.FileStatus(file)));
        }
        return {};
    case Qt::ForegroundRole:
        if (index.column() == ColumnOutputFileName && m_outputNamesGreyed) {
            return QApplication::palette().color(QPalette::Disabled, QPalette::Text);
        }
        if (index.column() == ColumnStatus) {
            return QColor(Qt::black); // readable on every status colour, in any theme
        }
        return {};
    case Qt::ToolTipRole:
        if (index.column() == ColumnFileName) {
            return path;
        }
        if (index.column() == ColumnOutputFileName) {
            return autoNaming ? outputPath : FolderPart(outputPath);
        }
        if (index.column() == ColumnStatus) {
            // Why the file failed; a double click shows it to select and copy.
            return ToQString(m_engine.FileErrorText(file))
                .replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        }
        return {};
    case ProgressRole:
        // A file that failed shows no bar: part of one would read as work partly done.
        if (m_engine.FileStatus(file) == ConversionStatus::Failed ||
            m_engine.FileStatus(file) == ConversionStatus::FileMissing) {
            return {};
        }
        return m_engine.FileProgress(file);
    default:
        return {};
    }
}

QVariant FileTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
        section < ColumnCount) {
        return QString::fromLatin1(kTitles[section]);
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

void FileTableModel::Refill() {
    const int files = m_engine.FilesCount();
    if (files > m_rows) {
        beginInsertRows({}, m_rows, files - 1);
        m_rows = files;
        endInsertRows();
    } else if (files < m_rows) {
        beginRemoveRows({}, files, m_rows - 1);
        m_rows = files;
        endRemoveRows();
    }
    ColumnsChanged(ColumnFileName, ColumnOutputFileName);
}

void FileTableModel::RefreshStatuses() {
    ColumnsChanged(ColumnStatus, ColumnStatus);
}

void FileTableModel::RefreshProgress() {
    ColumnsChanged(ColumnProgress, ColumnProgress);
}

void FileTableModel::SetOutputNamesGreyed(bool greyed) {
    m_outputNamesGreyed = greyed;
    ColumnsChanged(ColumnOutputFileName, ColumnOutputFileName);
}

void FileTableModel::ColumnsChanged(int first, int last) {
    if (m_rows > 0) {
        emit dataChanged(index(0, first), index(m_rows - 1, last));
    }
}

} // namespace vibrex
