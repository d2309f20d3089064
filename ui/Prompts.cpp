#include "ui/Prompts.h"

#include <QDialog>
#include <QMessageBox>
#include <utility>

namespace vibrex {
namespace {

MessageHandler& CurrentMessageHandler() {
    static MessageHandler handler;
    return handler;
}

DialogHandler& CurrentDialogHandler() {
    static DialogHandler handler;
    return handler;
}

QMessageBox::Icon ToQtIcon(MessageIcon icon) {
    switch (icon) {
    case MessageIcon::Exclamation:
        return QMessageBox::Warning;
    case MessageIcon::Information:
        return QMessageBox::Information;
    case MessageIcon::Question:
        return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

} // namespace

bool ShowMessageBox(QWidget* parent, const QString& text, MessageIcon icon, const QString& title) {
    const Message message{text, icon, title.isEmpty() ? QString(kApplicationTitle) : title};
    if (CurrentMessageHandler()) {
        return CurrentMessageHandler()(message);
    }
    const bool question = icon == MessageIcon::Question;
    // A carriage return would show as a stray glyph in a label.
    QString shown = message.text;
    shown.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    QMessageBox box(ToQtIcon(icon), message.title, shown,
                    question ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok, parent);
    return box.exec() == (question ? QMessageBox::Yes : QMessageBox::Ok);
}

int ExecModal(QDialog& dialog) {
    if (CurrentDialogHandler()) {
        return CurrentDialogHandler()(dialog);
    }
    return dialog.exec();
}

MessageHandler SetMessageHandler(MessageHandler handler) {
    return std::exchange(CurrentMessageHandler(), std::move(handler));
}

DialogHandler SetDialogHandler(DialogHandler handler) {
    return std::exchange(CurrentDialogHandler(), std::move(handler));
}

} // namespace vibrex
