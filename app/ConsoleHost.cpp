#include "app/ConsoleHost.h"

#include <cstdio>
#include <unistd.h>

namespace vibrex {

ConsoleHost::ConsoleHost() : m_toTerminal(isatty(STDERR_FILENO) != 0) {}

void ConsoleHost::OpenProgressWindow(std::int64_t maximum) {
    m_maximum = maximum;
    m_shownPercent = -1;
    UpdateProgressWindow(0);
}

void ConsoleHost::UpdateProgressWindow(std::int64_t value) {
    if (!m_toTerminal || m_maximum <= 0) {
        return;
    }
    const int percent = static_cast<int>(value * 100 / m_maximum);
    if (percent != m_shownPercent) {
        m_shownPercent = percent;
        std::fprintf(stderr, "\rConverting... %3d%%", percent);
        std::fflush(stderr);
    }
}

void ConsoleHost::CloseProgressWindow() {
    if (m_toTerminal && m_shownPercent >= 0) {
        std::fputs("\n", stderr);
    }
    m_shownPercent = -1;
}

} // namespace vibrex
