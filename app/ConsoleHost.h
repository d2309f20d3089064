#pragma once

#include "engine/ConverterHost.h"

#include <cstdint>

namespace vibrex {

// Batch progress without a display: a percentage line on stderr when stderr is a terminal,
// nothing otherwise.
class ConsoleHost final : public ConverterHost {
public:
    ConsoleHost();
    void OpenProgressWindow(std::int64_t maximum) override;
    void UpdateProgressWindow(std::int64_t value) override;
    void CloseProgressWindow() override;

private:
    bool m_toTerminal;
    std::int64_t m_maximum = 0;
    int m_shownPercent = -1;
};

} // namespace vibrex
