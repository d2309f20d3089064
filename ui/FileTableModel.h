#pragma once

#include <QAbstractTableModel>

namespace vibrex {

class ClsConverter;

// The engine's file list as the grid shows it: file i of the engine is row i. Everything is
// read back from the engine; the model keeps no file state of its own.
class FileTableModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column {
        ColumnFileName,
        ColumnFileFormat,
        ColumnChannelsCount,
        ColumnOutputFormat,
        ColumnOutputFileName,
        ColumnStatus,
        ColumnProgress,
        ColumnCount
    };
    // The raw percentage of the Progress column.
    static constexpr int ProgressRole = Qt::UserRole;

    FileTableModel(ClsConverter& engine, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Rows follow the file count and the file columns are read again; row numbers stay put, so
    // the current cell keeps its row as in the grid the user sees.
    void Refill();
    void RefreshStatuses();
    void RefreshProgress();
    // In merge mode the per-file output names do not apply, so they are shown greyed.
    void SetOutputNamesGreyed(bool greyed);

private:
    void ColumnsChanged(int first, int last);

    ClsConverter& m_engine;
    int m_rows = 0;
    bool m_outputNamesGreyed = false;
};

} // namespace vibrex
