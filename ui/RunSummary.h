#pragma once

#include <QString>

class QWidget;

namespace vibrex {

class ClsConverter;

// What a run left behind, told once when it ends: each failure stays on its row while the run
// goes on, and the end names how many there were and offers their reasons.
class RunSummary {
public:
    explicit RunSummary(const ClsConverter& engine);

    int Failed() const { return m_failed; }
    // "3 of 500 files failed."
    QString Text() const;
    // Each failed file's name and the engine's reason, one after another.
    QString Details() const { return m_details; }

    // Nothing when no file failed; otherwise asks whether to show the details, and shows them
    // on Yes.
    void Tell(QWidget* owner) const;

private:
    int m_files = 0;
    int m_failed = 0;
    QString m_details;
};

} // namespace vibrex
