#include "ui/FrmAbout.h"

#include "engine/ErrorText.h"
#include "ui/AppIcon.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

namespace vibrex {

FrmAbout::FrmAbout(bool& startupLogo, QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("FrmAbout"));
    setWindowTitle(QStringLiteral("About Vibrex"));

    auto* name = new QLabel(QStringLiteral("VIBREX"), this);
    QFont nameFont = name->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 2.2);
    nameFont.setBold(true);
    name->setFont(nameFont);
    auto* image = new QLabel(this);
    image->setObjectName(QStringLiteral("Image1"));
    image->setPixmap(VibrexLogo(96));

    auto* text = new QPlainTextEdit(this);
    text->setObjectName(QStringLiteral("Text1"));
    text->setReadOnly(true);
    QStringList lines{
        QStringLiteral("Vibrex ") + QStringLiteral(VIBREX_VERSION) +
            QStringLiteral(" - seismic recording converter"),
        QStringLiteral("Made by the Vibrex project."),
        QString(),
    };
    if (const QString contact = QString::fromUtf8(SupportContact()); !contact.isEmpty()) {
        lines << QStringLiteral("Support: ") + contact
              << QStringLiteral("Please send us any recording that Vibrex cannot read.")
              << QString();
    }
    lines << QStringLiteral("Built with Qt ") + QString::fromLatin1(qVersion()) + QLatin1Char('.')
          << QStringLiteral("Formats after their published descriptions: miniSEED (FDSN), SAC "
                            "(IRIS), PSN ASCII event files, GSE2.0 with CM6, SESAME ASCII (SAF), "
                            "SEG-2, Seismic Unix, Seisan.");
    text->setPlainText(lines.join(QLatin1Char('\n')));
    text->setMinimumSize(380, 160);

    auto* noLogo = new QCheckBox(QStringLiteral("Don't show at startup"), this);
    noLogo->setObjectName(QStringLiteral("ChkNoLogo"));
    noLogo->setChecked(!startupLogo);
    connect(noLogo, &QCheckBox::toggled, this,
            [&startupLogo](bool checked) { startupLogo = !checked; });

    auto* close = new QPushButton(QStringLiteral("Close"), this);
    close->setObjectName(QStringLiteral("CmdClose"));
    close->setDefault(true);
    connect(close, &QPushButton::clicked, this, &FrmAbout::reject);

    auto* layout = new QGridLayout(this);
    layout->addWidget(image, 0, 0, 2, 1, Qt::AlignTop);
    layout->addWidget(name, 0, 1);
    layout->addWidget(text, 1, 1);
    layout->addWidget(noLogo, 2, 1);
    layout->addWidget(close, 3, 1, Qt::AlignRight);
}

} // namespace vibrex
