#include "ui/FrmHeader.h"

#include "engine/ClsConverter.h"
#include "ui/Prompts.h"
#include "ui/UiTools.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vibrex {
namespace {

// The three looks of a value: the output format cannot carry it; it came with the input file;
// the user changed it.
const QColor kUnavailableBack(0xE6, 0xE6, 0xE6);
const QColor kUnavailableText(0x8C, 0x8C, 0x8C);
const QColor kEditedBack(0xFF, 0xF5, 0xC2);
const QColor kEditedText(0x00, 0x33, 0x99);

QTableWidgetItem* NewItem(const QString& text) {
    auto* item = new QTableWidgetItem(text);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    return item;
}

} // namespace

FrmHeader::FrmHeader(ClsConverter& engine, int fileIndex, QWidget* parent)
    : QDialog(parent), m_engine(engine), m_fileIndex(fileIndex),
      m_grdHeader(new QTableWidget(this)), m_cmbFormats(new QComboBox(this)) {
    setObjectName(QStringLiteral("FrmHeader"));
    setWindowTitle(QStringLiteral("Header properties - ") +
                   FileNamePart(ToQString(engine.FilePath(fileIndex))));
    setSizeGripEnabled(true);
    resize(720, 560);
    KeepMinimumSize(*this);

    const int properties = engine.HeaderPropertiesCount();
    const int channels = engine.FileChannelsCount(fileIndex);
    m_grdHeader->setObjectName(QStringLiteral("GrdHeader"));
    m_grdHeader->setRowCount(properties);
    m_grdHeader->setColumnCount(channels + 1);
    m_grdHeader->verticalHeader()->hide();
    m_grdHeader->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grdHeader->setSelectionMode(QAbstractItemView::SingleSelection);
    QStringList titles{QStringLiteral("Property")};
    for (int channel = 1; channel <= channels; ++channel) {
        titles << QStringLiteral("Channel ") + QString::number(channel);
    }
    m_grdHeader->setHorizontalHeaderLabels(titles);
    m_grdHeader->setColumnWidth(0, TwipsToPixels(*this, 2700));
    for (int property = 0; property < properties; ++property) {
        QTableWidgetItem* name = NewItem(ToQString(ClsConverter::HeaderPropertyToString(property)));
        name->setBackground(palette().button());
        m_grdHeader->setItem(property, 0, name);
    }
    FillValues();
    m_grdHeader->setCurrentCell(0, 1);

    auto* frame = new QGroupBox(this);
    frame->setObjectName(QStringLiteral("FraCombo"));
    auto* label = new QLabel(QStringLiteral("Output format"), frame);
    label->setObjectName(QStringLiteral("Label2"));
    m_cmbFormats->setObjectName(QStringLiteral("CmbFormats"));
    FillFormatsCombo(*m_cmbFormats);
    SelectFormat(*m_cmbFormats, engine.FileOutputFormat(fileIndex));
    auto* frameLayout = new QHBoxLayout(frame);
    frameLayout->addWidget(label);
    frameLayout->addWidget(m_cmbFormats);
    frameLayout->addStretch();

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("CmdOk"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_grdHeader, 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(frame);
    bottom->addStretch();
    bottom->addWidget(buttons, 0, Qt::AlignBottom);
    layout->addLayout(bottom);

    // Availability follows the output format, so the styles are redone when it changes.
    connect(m_cmbFormats, &QComboBox::activated, this, [this](int item) {
        m_engine.SetFileOutputFormat(m_fileIndex,
                                     static_cast<FileFormat>(m_cmbFormats->itemData(item).toInt()));
        FillValues();
    });
    connect(m_grdHeader, &QTableWidget::cellDoubleClicked, this, &FrmHeader::EditValue);
    connect(m_grdHeader->horizontalHeader(), &QHeaderView::sectionDoubleClicked, this,
            [this](int column) { FitColumnToContents(*m_grdHeader, column); });
    connect(buttons, &QDialogButtonBox::accepted, this, &FrmHeader::accept);
}

void FrmHeader::FillValues() {
    m_grdHeader->setUpdatesEnabled(false);
    for (int property = 0; property < m_grdHeader->rowCount(); ++property) {
        for (int channel = 0; channel + 1 < m_grdHeader->columnCount(); ++channel) {
            StyleValueCell(property, channel);
        }
    }
    m_grdHeader->setUpdatesEnabled(true);
}

void FrmHeader::StyleValueCell(int property, int channel) {
    QTableWidgetItem* item =
        NewItem(ToQString(m_engine.HeaderProperty(m_fileIndex, channel, property)));
    QFont font = m_grdHeader->font();
    if (!m_engine.HeaderPropertyAvailable(m_fileIndex, property)) {
        item->setBackground(kUnavailableBack);
        item->setForeground(kUnavailableText);
        font.setItalic(true);
    } else if (!m_engine.HeaderPropertyFresh(m_fileIndex, channel, property)) {
        item->setBackground(kEditedBack);
        item->setForeground(kEditedText);
        font.setBold(true);
    }
    item->setFont(font);
    m_grdHeader->setItem(property, channel + 1, item);
}

void FrmHeader::EditValue(int row, int column) {
    const int channel = column - 1;
    if (channel < 0 || !m_engine.HeaderPropertyAvailable(m_fileIndex, row)) {
        return;
    }
    const QString present = m_grdHeader->item(row, column)->text();
    QInputDialog input(this);
    input.setObjectName(QStringLiteral("InputBox"));
    input.setWindowTitle(QString::fromLatin1(kApplicationTitle));
    input.setLabelText(
        QStringLiteral("!!! Warning !!!\nAn incorrect edit of the header data can result in an "
                       "unreadable output file.\n") +
        ToQString(ClsConverter::HeaderPropertyToString(row)) + QStringLiteral(", Channel ") +
        QString::number(column));
    input.setTextValue(present);
    if (ExecModal(input) != QDialog::Accepted) {
        return;
    }
    const QString answer = input.textValue();
    if (answer.isEmpty() || answer == present) {
        return;
    }
    m_engine.SetHeaderProperty(m_fileIndex, channel, row, answer.toStdString());
    StyleValueCell(row, channel);
}

} // namespace vibrex
