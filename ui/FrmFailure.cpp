#include "ui/FrmFailure.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace vibrex {

FrmFailure::FrmFailure(const QString& fileName, const QString& errorText, QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("FrmFailure"));
    setWindowTitle(QStringLiteral("Conversion failed - ") + fileName);
    m_txtDetails = new QPlainTextEdit(this);
    m_txtDetails->setObjectName(QStringLiteral("TxtDetails"));
    m_txtDetails->setReadOnly(true);
    m_txtDetails->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_txtDetails->setPlainText(
        QString(errorText).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->button(QDialogButtonBox::Close)->setObjectName(QStringLiteral("CmdClose"));
    auto* copy = buttons->addButton(QStringLiteral("Copy"), QDialogButtonBox::ActionRole);
    copy->setObjectName(QStringLiteral("CmdCopy"));
    connect(copy, &QPushButton::clicked, this,
            [this] { QApplication::clipboard()->setText(Text()); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_txtDetails);
    layout->addWidget(buttons);
    resize(560, 240);
}

QString FrmFailure::Text() const {
    return m_txtDetails->toPlainText();
}

} // namespace vibrex
