#include "ui/FrmBar.h"

#include "engine/ClsConverter.h"

#include <QCoreApplication>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>

namespace vibrex {

namespace {
const QString kCaption = QStringLiteral("Conversion in progress");
}

FrmBar::FrmBar(QWidget* parent)
    : QDialog(parent), m_bar(new QProgressBar(this)),
      m_cmdAbort(new QPushButton(QStringLiteral("Abort"), this)) {
    setObjectName(QStringLiteral("FrmBar"));
    setWindowTitle(kCaption);
    m_bar->setObjectName(QStringLiteral("ProgressBar"));
    m_bar->setTextVisible(false);
    m_bar->setMinimumWidth(360);
    m_cmdAbort->setObjectName(QStringLiteral("CmdAbort"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_bar);
    layout->addWidget(m_cmdAbort, 0, Qt::AlignHCenter);
    connect(m_cmdAbort, &QPushButton::clicked, this, [this] {
        if (m_engine != nullptr) {
            m_engine->Abort();
        }
    });
}

void FrmBar::Open(std::int64_t maximum, ClsConverter* engine) {
    m_engine = engine;
    m_maximum = std::max<std::int64_t>(maximum, 1);
    // The bar counts in int; a recording of billions of samples is shown in coarser units.
    m_scale = m_maximum / std::numeric_limits<int>::max() + 1;
    m_bar->setRange(0, static_cast<int>(m_maximum / m_scale));
    m_lastValue = 0;
    m_offset = 0;
    Display(0);
    show();
    QCoreApplication::processEvents();
}

void FrmBar::Update(std::int64_t value) {
    if (value < m_lastValue) {
        m_offset += m_lastValue;
    }
    m_lastValue = value;
    Display(std::min(value + m_offset, m_maximum));
    QCoreApplication::processEvents();
}

void FrmBar::Close() {
    hide();
}

void FrmBar::Display(std::int64_t value) {
    m_bar->setValue(static_cast<int>(value / m_scale));
    setWindowTitle(kCaption + QStringLiteral(" - ") + QString::number(value * 100 / m_maximum) +
                   QLatin1Char('%'));
}

} // namespace vibrex
