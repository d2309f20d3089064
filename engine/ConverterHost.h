#pragma once

#include <cstdint>
#include <string>

// How the engine talks to whoever owns it: the window, the batch run, or a test. The engine
// never shows anything itself.
namespace vibrex {

class ClsConverter;

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

    // The engine this host serves, so that a progress window's Abort button can reach it. The
    // engine sets it for as long as it lives.
    ClsConverter* Engine() const { return m_engine; }
    void SetEngine(ClsConverter* engine) { m_engine = engine; }

private:
    ClsConverter* m_engine = nullptr;
};

} // namespace vibrex
