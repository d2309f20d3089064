#pragma once

#include <cstdint>
#include <string>

// How the engine talks to whoever owns it: the window, the batch run, or a test. The engine
// never shows anything itself.
namespace vibrex {

enum class MessageIcon { Exclamation, Information, Question };

inline constexpr const char* kApplicationTitle = "Vibrex";

class ConverterHost {
public:
    virtual ~ConverterHost() = default;

    // The two events; the listener reads the engine's getters.
    virtual void ConversionProgress() {}
    virtual void FileStatusChange() {}
    // A turn for the event loop: repaints, clicks, Abort.
    virtual void DoEvents() {}
    // Only called when the engine is Verbose.
    virtual void ShowMessage(const std::string& text, MessageIcon icon, const std::string& title) {
        (void)text;
        (void)icon;
        (void)title;
    }
    // The conversion progress window; only called when the engine's ShowUI is set.
    virtual void OpenProgressWindow(std::int64_t maximum) { (void)maximum; }
    virtual void UpdateProgressWindow(std::int64_t value) { (void)value; }
    virtual void CloseProgressWindow() {}
};

} // namespace vibrex
