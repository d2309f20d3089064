#pragma once

#include <QDialog>
#include <cstdint>

class QProgressBar;
class QPushButton;

namespace vibrex {

class ClsConverter;

// The conversion progress window that the engine drives during a run; its Abort button stops
// the run at the next progress step.
class FrmBar final : public QDialog {
    Q_OBJECT

public:
    explicit FrmBar(QWidget* parent = nullptr);

    void Open(std::int64_t maximum, ClsConverter* engine);
    // Values restart from 0 with each file of a run; the bar keeps adding them up.
    void Update(std::int64_t value);
    void Close();

protected:
    // The window stays until the run closes it; Abort is the way to stop.
    void reject() override {}

private:
    void Display(std::int64_t value);

    QProgressBar* m_bar;
    QPushButton* m_cmdAbort;
    ClsConverter* m_engine = nullptr;
    std::int64_t m_maximum = 0;
    std::int64_t m_scale = 1;
    std::int64_t m_lastValue = 0;
    std::int64_t m_offset = 0;
};

} // namespace vibrex
