#pragma once

#include <QDialog>

class QButtonGroup;
class QLineEdit;
class QScrollBar;

namespace vibrex {

class ClsConverter;

// "WAV Audio File Conversion Setup": amplification, bit count and header sampling rate of one
// file's WAV output, written to the engine only on OK.
class FrmWave final : public QDialog {
    Q_OBJECT

public:
    FrmWave(ClsConverter& engine, int fileIndex, QWidget* parent = nullptr);

    void accept() override;

private:
    ClsConverter& m_engine;
    int m_fileIndex;
    QLineEdit* m_txtFattore;
    QScrollBar* m_hscFattore;
    QButtonGroup* m_bits;
    QButtonGroup* m_rates;
};

} // namespace vibrex
