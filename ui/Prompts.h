#pragma once

#include "engine/ConverterHost.h"

#include <QString>
#include <functional>

class QDialog;
class QWidget;

// Every message box and every modal dialog of the interface passes through these two
// functions, so tests can answer them without a blocking event loop.
namespace vibrex {

struct Message {
    QString text; // lines joined with CR LF, as the system builds them
    MessageIcon icon;
    QString title;
};

// Returns true for OK or Yes.
using MessageHandler = std::function<bool(const Message&)>;
// Returns the dialog's result code, as QDialog::exec() does.
using DialogHandler = std::function<int(QDialog&)>;

// Questions get Yes and No, everything else OK. An empty title is the application's title.
bool ShowMessageBox(QWidget* parent, const QString& text, MessageIcon icon,
                    const QString& title = {});
int ExecModal(QDialog& dialog);

// Installing an empty handler restores the real message boxes and modal loops. Each returns the
// handler it replaces.
MessageHandler SetMessageHandler(MessageHandler handler);
DialogHandler SetDialogHandler(DialogHandler handler);

} // namespace vibrex
