#pragma once

#include "engine/ConverterHost.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace vibrex {

// One progress line: the file, the percentage, the rate in samples per second and the time
// left, "--" for what cannot be told yet. `done` and `total` count the engine's work units. The
// line stays narrower than `width` columns; a long file name loses its beginning.
std::string ProgressLine(std::string_view label, std::int64_t done, std::int64_t total,
                         double seconds, int width);

// Batch progress without a display: on a terminal a line per file, redrawn in place as the
// file converts; nothing at all when the stream is not a terminal (scripts, logs, CI).
class ConsoleHost final : public ConverterHost {
public:
    explicit ConsoleHost(std::FILE* stream = stderr);
    void OpenProgressWindow(std::int64_t maximum) override;
    void UpdateProgressWindow(std::int64_t value) override;
    void CloseProgressWindow() override;

private:
    std::string CurrentLabel() const;

    std::FILE* m_stream;
    bool m_toTerminal;
    std::string m_label;
    int m_width = 0;
    std::chrono::steady_clock::time_point m_start;
    std::int64_t m_maximum = 0;
    int m_shownPercent = -1;
};

} // namespace vibrex
