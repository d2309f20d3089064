#pragma once

#include "app/Settings.h"

class QWidget;

namespace vibrex {

class ClsConverter;

// The window's options that outlive it, kept in the settings: the four option boxes, the WAV
// settings, the window's place and size, the split between grid and preview and the grid's
// column widths. The controls are found by their names, so the window only says when.
class RememberedOptions {
public:
    explicit RememberedOptions(Settings& settings) : m_settings(settings) {}

    // Puts the saved options on the window's controls; the size and place follow when the
    // window first shows, once its minimum size is fixed.
    void Restore(QWidget& window) const;
    void Capture(const QWidget& window);

    // The WAV settings last confirmed go to each file whose output becomes WAV.
    void GiveWav(ClsConverter& engine, int file) const;
    void TakeWav(const ClsConverter& engine, int file);

private:
    Settings& m_settings;
};

} // namespace vibrex
