#pragma once

#include <QStyledItemDelegate>

class QPainter;
class QRect;

namespace vibrex {

// The bar colour of the progress cells.
inline constexpr QRgb kProgressBarColor = 0xFF0080FF;

// One progress cell: a bar over the percentage's share of the width on white, and the
// percentage with "%" centred in black.
void PaintProgressCell(QPainter& painter, const QRect& cell, int percent);

// Paints the progress column with PaintProgressCell on every repaint of the grid; the other
// columns are drawn as usual.
class ProgressDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    ProgressDelegate(int progressColumn, int progressRole, QObject* parent = nullptr);
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

private:
    int m_progressColumn;
    int m_progressRole;
};

} // namespace vibrex
