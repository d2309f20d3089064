#include "ui/FrmWave.h"

#include "engine/ClsConverter.h"
#include "ui/Prompts.h"
#include "ui/UiTools.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

namespace vibrex {
namespace {

constexpr int kMinimumFactor = 1;
constexpr int kMaximumFactor = 10000;

struct Choice {
    const char* objectName;
    const char* caption;
    int value;
};

constexpr Choice kBitChoices[] = {
    {"Opt16", "16 bit", 16}, {"Opt24", "24 bit", 24}, {"Opt32", "32 bit", 32}};

constexpr Choice kRateChoices[] = {
    {"OptNotchange", "No changes", 0},
    {"Opt8000", "8 kHz (Telephone)", 8000},
    {"Opt22050", "22.05 kHz (Radio)", 22050},
    {"Opt44100", "44.1 kHz (CD and other computer audio)", 44100},
    {"Opt48000", "48.0 kHz (Professional audio applications)", 48000},
    {"Opt88200", "88.2 kHz (DVD audio and other High Definition audio)", 88200},
    {"Opt96000", "96.0 kHz (DVD audio and other High Definition audio)", 96000},
    {"Opt176400", "176.4 kHz (DVD audio and other High Definition audio)", 176400},
    {"Opt192000", "192.0 kHz (DVD audio and other High Definition audio)", 192000},
};

// A frame of option buttons whose ids are their values; none is checked.
template <std::size_t N>
QButtonGroup* AddChoices(QWidget* dialog, QVBoxLayout* layout, const char* title,
                         const Choice (&choices)[N]) {
    auto* frame = new QGroupBox(QString::fromLatin1(title), dialog);
    auto* frameLayout = new QVBoxLayout(frame);
    auto* group = new QButtonGroup(frame);
    for (const Choice& choice : choices) {
        auto* option = new QRadioButton(QString::fromLatin1(choice.caption), frame);
        option->setObjectName(QString::fromLatin1(choice.objectName));
        group->addButton(option, choice.value);
        frameLayout->addWidget(option);
    }
    layout->addWidget(frame);
    return group;
}

// The option of `value`, or none at all: a value outside the list leaves every option clear.
void Check(QButtonGroup& group, int value) {
    group.setExclusive(false);
    for (QAbstractButton* option : group.buttons()) {
        option->setChecked(group.id(option) == value);
    }
    group.setExclusive(true);
}

} // namespace

FrmWave::FrmWave(ClsConverter& engine, int fileIndex, QWidget* parent)
    : QDialog(parent), m_engine(engine), m_fileIndex(fileIndex), m_txtFattore(new QLineEdit(this)),
      m_hscFattore(new QScrollBar(Qt::Horizontal, this)) {
    setObjectName(QStringLiteral("FrmWave"));
    setWindowTitle(QStringLiteral("WAV Audio File Conversion Setup"));
    auto* layout = new QVBoxLayout(this);

    auto* factorRow = new QGridLayout;
    factorRow->addWidget(new QLabel(QStringLiteral("Amplification factor to apply ( >= 1)"), this),
                         0, 0, 1, 2);
    m_txtFattore->setObjectName(QStringLiteral("TxtFattore"));
    m_txtFattore->setMaximumWidth(90);
    m_hscFattore->setObjectName(QStringLiteral("HScFattore"));
    m_hscFattore->setRange(kMinimumFactor, kMaximumFactor);
    factorRow->addWidget(m_txtFattore, 1, 0);
    factorRow->addWidget(m_hscFattore, 1, 1);
    layout->addLayout(factorRow);

    m_bits = AddChoices(this, layout, "Convert to Nr. of bit:", kBitChoices);
    m_rates = AddChoices(this, layout, "Sample Rate", kRateChoices);

    layout->addWidget(OkCancelButtons(*this, QStringLiteral("CmdAnnulla")));

    // The bar follows the text only while the text is a factor it can show.
    connect(m_hscFattore, &QScrollBar::valueChanged, this,
            [this](int value) { m_txtFattore->setText(QString::number(value)); });
    connect(m_txtFattore, &QLineEdit::textEdited, this, [this](const QString& text) {
        bool isNumber = false;
        const int value = text.toInt(&isNumber);
        if (isNumber && value >= kMinimumFactor && value <= kMaximumFactor) {
            m_hscFattore->setValue(value);
        }
    });

    Check(*m_rates, m_engine.WAVSamplingRate(m_fileIndex));
    // A bit count is always chosen; the engine's own default stands in for a stray value.
    const int bitCount = m_engine.WAVBitCount(m_fileIndex);
    Check(*m_bits, bitCount == 16 || bitCount == 24 ? bitCount : 32);
    const int factor = m_engine.WAVFactor(m_fileIndex);
    m_hscFattore->setValue(factor);
    m_txtFattore->setText(QString::number(factor));
}

void FrmWave::accept() {
    const int factor = m_txtFattore->text().trimmed().toInt();
    if (factor < kMinimumFactor || factor > kMaximumFactor) {
        ShowMessageBox(this, QStringLiteral("The range of the amplitude factor is 1-10000."),
                       MessageIcon::Exclamation);
        return;
    }
    m_engine.SetWAVFactor(m_fileIndex, factor);
    m_engine.SetWAVBitCount(m_fileIndex, m_bits->checkedId());
    // "No changes", or no option at all, keeps the recording's own rate.
    m_engine.SetWAVSamplingRate(m_fileIndex, std::max(m_rates->checkedId(), 0));
    QDialog::accept();
}

} // namespace vibrex
