#include "ui/UiTools.h"

#include "engine/FormatCatalogue.h"

#include <QAbstractItemModel>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QHeaderView>
#include <QPushButton>
#include <QTableView>
#include <algorithm>

namespace vibrex {
namespace {

// Fixes the minimum size at the first show, then leaves the window alone.
class MinimumSizeFilter final : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show) {
            auto* window = static_cast<QWidget*>(watched);
            window->setMinimumSize(window->size());
            watched->removeEventFilter(this);
            deleteLater();
        }
        return false;
    }
};

} // namespace

int TwipsToPixels(const QWidget& widget, int twips) {
    return twips * widget.logicalDpiX() / 1440;
}

void FitColumnToContents(QTableView& grid, int column) {
    const QAbstractItemModel* model = grid.model();
    const QFontMetrics metrics(grid.font());
    int widest = metrics.horizontalAdvance(model->headerData(column, Qt::Horizontal).toString());
    for (int row = 0; row < model->rowCount(); ++row) {
        const QString text = model->index(row, column).data().toString();
        widest = std::max(widest, metrics.horizontalAdvance(text));
    }
    if (widest >= 1) {
        grid.setColumnWidth(column, widest + 6);
    }
}

void FillFormatsCombo(QComboBox& combo) {
    for (int value = 1; value < kFormatsCount; ++value) {
        combo.addItem(ToQString(FileFormatToString(static_cast<FileFormat>(value))), value);
    }
}

void SelectFormat(QComboBox& combo, FileFormat format) {
    combo.setCurrentIndex(-1);
    combo.setCurrentIndex(combo.findData(static_cast<int>(format)));
}

QDialogButtonBox* OkCancelButtons(QDialog& dialog, const QString& cancelName) {
    auto* buttons = new QDialogButtonBox(&dialog);
    buttons->addButton(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("CmdOk"));
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole)
        ->setObjectName(cancelName);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

void KeepMinimumSize(QWidget& window) {
    window.installEventFilter(new MinimumSizeFilter(&window));
}

QString FileNamePart(const QString& path) {
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString FolderPart(const QString& path) {
    const qsizetype separator = path.lastIndexOf(QLatin1Char('/'));
    return separator < 0 ? QString() : path.left(separator);
}

QString JoinPath(const QString& folder, const QString& name) {
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

QString ToQString(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace vibrex
