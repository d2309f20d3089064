#include "ui/FrmOutputWiz.h"

#include "ui/ModDialogs.h"
#include "ui/UiTools.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

namespace vibrex {

FrmOutputWiz::FrmOutputWiz(OutputNameOptions& options, QWidget* parent)
    : QDialog(parent), m_options(options), m_txtAddChar(new QLineEdit(this)),
      m_chkOriginalExt(new QCheckBox(QStringLiteral("Use original file extension"), this)),
      m_chkAutoName(new QCheckBox(QStringLiteral("Use automatic naming if possible"), this)) {
    setObjectName(QStringLiteral("FrmOutputWiz"));
    setWindowTitle(QStringLiteral("Output file name tool"));
    m_options = OutputNameOptions{};

    auto* label = new QLabel(QStringLiteral("String to add after the original file name"), this);
    label->setObjectName(QStringLiteral("Label1"));
    label->setBuddy(m_txtAddChar);
    m_txtAddChar->setObjectName(QStringLiteral("TxtAddChar"));
    m_chkOriginalExt->setObjectName(QStringLiteral("ChkOriginalExt"));
    m_chkAutoName->setObjectName(QStringLiteral("ChkAutoName"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label);
    layout->addWidget(m_txtAddChar);
    layout->addWidget(m_chkOriginalExt);
    layout->addWidget(m_chkAutoName);
    layout->addWidget(OkCancelButtons(*this, QStringLiteral("CmdCancel")));
}

void FrmOutputWiz::accept() {
    if (!CheckFileNameText(this, m_txtAddChar->text())) {
        return;
    }
    m_options.stringToAdd = m_txtAddChar->text();
    m_options.keepOriginalExtension = m_chkOriginalExt->isChecked();
    m_options.useAutomaticNaming = m_chkAutoName->isChecked();
    m_options.confirmed = true;
    QDialog::accept();
}

} // namespace vibrex
