#include "app/ConsoleHost.h"

#include "engine/ClsConverter.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace vibrex {

namespace {

// The engine counts every sample twice: once read, once written.
constexpr double kWorkPerSample = 2;

std::string Rate(double samplesPerSecond) {
    char text[32];
    if (samplesPerSecond >= 1e6) {
        std::snprintf(text, sizeof text, "%.1f M", samplesPerSecond / 1e6);
    } else if (samplesPerSecond >= 1e3) {
        std::snprintf(text, sizeof text, "%.1f k", samplesPerSecond / 1e3);
    } else {
        std::snprintf(text, sizeof text, "%.0f", samplesPerSecond);
    }
    return text;
}

std::string Duration(double seconds) {
    const long whole = static_cast<long>(seconds + 0.5);
    char text[32];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    }
    return text;
}

std::string Figures(std::int64_t done, std::int64_t total, double seconds) {
    const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 0;
    char head[16];
    std::snprintf(head, sizeof head, "  %3d%%  ", percent);
    // Before any work is done, or at once, a rate would be noise.
    if (done <= 0 || seconds <= 0) {
        return head + std::string("-- samples/s  --:-- left");
    }
    const double rate = static_cast<double>(done) / seconds;
    return head + Rate(rate / kWorkPerSample) + " samples/s  " +
           Duration(static_cast<double>(total - done) / rate) + " left";
}

// The end of `label` in at most `room` bytes, "..." standing for what is cut; a UTF-8
// character is never cut in two.
std::string LabelInRoom(std::string_view label, std::size_t room) {
    constexpr std::string_view kCut = "...";
    if (label.size() <= room) {
        return std::string(label);
    }
    if (room <= kCut.size()) {
        return std::string(kCut.substr(0, room));
    }
    std::size_t start = label.size() - (room - kCut.size());
    while (start < label.size() && (static_cast<unsigned char>(label[start]) & 0xC0U) == 0x80) {
        ++start;
    }
    return std::string(kCut) + std::string(label.substr(start));
}

int TerminalWidth(std::FILE* stream) {
    winsize size{};
    constexpr int kUsualWidth = 80;
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                            : kUsualWidth;
}

} // namespace

std::string ProgressLine(std::string_view label, std::int64_t done, std::int64_t total,
                         double seconds, int width) {
    const std::string figures = Figures(done, total, seconds);
    // A line as wide as the terminal would wrap, and "\r" could not take it back: the next
    // redraw would leave the old line standing above.
    const std::size_t limit = width > 1 ? static_cast<std::size_t>(width) - 1 : 0;
    return LabelInRoom(label, limit > figures.size() ? limit - figures.size() : 0) + figures;
}

ConsoleHost::ConsoleHost(std::FILE* stream)
    : m_stream(stream), m_toTerminal(isatty(fileno(stream)) != 0) {}

// The merge output for a merge, else the file about to convert: the first not yet done.
std::string ConsoleHost::CurrentLabel() const {
    const ClsConverter* engine = Engine();
    if (engine == nullptr) {
        return "Converting";
    }
    if (!engine->MergeFilePath().empty()) {
        return std::filesystem::path(engine->MergeFilePath()).filename().string();
    }
    for (int index = 0; index < engine->FilesCount(); ++index) {
        const ConversionStatus status = engine->FileStatus(index);
        if (status == ConversionStatus::Idle || status == ConversionStatus::InProgress) {
            return std::filesystem::path(engine->FilePath(index)).filename().string();
        }
    }
    return "Converting";
}

void ConsoleHost::OpenProgressWindow(std::int64_t maximum) {
    m_maximum = maximum;
    m_shownPercent = -1;
    m_start = std::chrono::steady_clock::now();
    if (m_toTerminal) {
        m_label = CurrentLabel();
        m_width = TerminalWidth(m_stream); // per file: the window may have been resized
    }
    UpdateProgressWindow(0);
}

void ConsoleHost::UpdateProgressWindow(std::int64_t value) {
    if (!m_toTerminal || m_maximum <= 0) {
        return;
    }
    const int percent = static_cast<int>(value * 100 / m_maximum);
    if (percent == m_shownPercent) {
        return;
    }
    m_shownPercent = percent;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    // Back to the line's start, and clear what a longer line before it left.
    std::fprintf(m_stream, "\r%s\033[K",
                 ProgressLine(m_label, value, m_maximum, elapsed.count(), m_width).c_str());
    std::fflush(m_stream);
}

void ConsoleHost::CloseProgressWindow() {
    if (m_toTerminal && m_shownPercent >= 0) {
        std::fputs("\n", m_stream);
    }
    m_shownPercent = -1;
}

} // namespace vibrex
