#pragma once

#include "engine/ConverterHost.h"

#include <memory>

class QWidget;

namespace vibrex {

class FrmBar;

// The engine's host on the interface thread: a yield runs Qt's pending events, a message is a
// message box, and the progress window is FrmBar.
class QtHost : public ConverterHost {
public:
    // `owner` parents the message boxes and the progress window; it may be null.
    explicit QtHost(QWidget* owner = nullptr);
    ~QtHost() override;

    void DoEvents() override;
    // While held, the engine's messages are not shown: during a run each failure is on its row
    // and in the summary at the end, so no message box stops the files after it.
    void HoldMessages(bool held) { m_messagesHeld = held; }
    void ShowMessage(const std::string& text, MessageIcon icon, const std::string& title) override;
    void OpenProgressWindow(std::int64_t maximum) override;
    void UpdateProgressWindow(std::int64_t value) override;
    void CloseProgressWindow() override;

private:
    QWidget* m_owner;
    bool m_messagesHeld = false;
    std::unique_ptr<FrmBar> m_progressWindow;
};

} // namespace vibrex
