#include "ui/ProgressDelegate.h"

#include <QPainter>

namespace vibrex {

void PaintProgressCell(QPainter& painter, const QRect& cell, int percent) {
    const int barWidth = static_cast<int>(percent / 100.0 * cell.width());
    painter.save();
    painter.fillRect(cell, Qt::white);
    painter.fillRect(QRect(cell.left(), cell.top(), barWidth, cell.height()),
                     QColor::fromRgb(kProgressBarColor));
    painter.setPen(Qt::black);
    painter.drawText(cell, Qt::AlignCenter, QString::number(percent) + QLatin1Char('%'));
    painter.restore();
}

ProgressDelegate::ProgressDelegate(int progressColumn, int progressRole, QObject* parent)
    : QStyledItemDelegate(parent), m_progressColumn(progressColumn), m_progressRole(progressRole) {}

void ProgressDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    const QVariant percent = index.data(m_progressRole);
    if (index.column() != m_progressColumn || !percent.isValid()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    PaintProgressCell(*painter, option.rect, percent.toInt());
}

} // namespace vibrex
