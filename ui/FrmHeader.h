#pragma once

#include <QDialog>

class QComboBox;
class QTableWidget;

namespace vibrex {

class ClsConverter;

// The header property editor of one file: a property per row, a channel per column. Edits go
// to the engine at once, so that the cell styles always show the engine's state; OK only
// closes.
class FrmHeader final : public QDialog {
    Q_OBJECT

public:
    FrmHeader(ClsConverter& engine, int fileIndex, QWidget* parent = nullptr);

private:
    void FillValues();
    void StyleValueCell(int property, int channel);
    void EditValue(int row, int column);

    ClsConverter& m_engine;
    int m_fileIndex;
    QTableWidget* m_grdHeader;
    QComboBox* m_cmbFormats;
};

} // namespace vibrex
