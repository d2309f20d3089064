#include "ui/QtHost.h"

#include "ui/FrmBar.h"
#include "ui/Prompts.h"
#include "ui/UiTools.h"

#include <QCoreApplication>

namespace vibrex {

QtHost::QtHost(QWidget* owner) : m_owner(owner) {}

QtHost::~QtHost() = default;

void QtHost::DoEvents() {
    QCoreApplication::processEvents();
}

void QtHost::ShowMessage(const std::string& text, MessageIcon icon, const std::string& title) {
    if (m_messagesHeld) {
        return;
    }
    ShowMessageBox(m_owner, ToQString(text), icon, ToQString(title));
}

void QtHost::OpenProgressWindow(std::int64_t maximum) {
    if (!m_progressWindow) {
        m_progressWindow = std::make_unique<FrmBar>(m_owner);
    }
    m_progressWindow->Open(maximum, Engine());
}

void QtHost::UpdateProgressWindow(std::int64_t value) {
    if (m_progressWindow) {
        m_progressWindow->Update(value);
    }
}

void QtHost::CloseProgressWindow() {
    if (m_progressWindow) {
        m_progressWindow->Close();
    }
}

} // namespace vibrex
