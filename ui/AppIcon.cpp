#include "ui/AppIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace vibrex {

QPixmap VibrexLogo(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 64.0, size / 64.0);

    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0x1D, 0x35, 0x57));
    painter.drawRoundedRect(QRectF(2, 2, 60, 60), 12, 12);

    // A quiet trace, a sharp arrival, then a decaying coda.
    QPainterPath trace(QPointF(8, 32));
    for (double x = 8; x <= 56; x += 0.5) {
        const double t = (x - 22) / 34;
        const double amplitude = x < 22 ? 1.2 : 20 * std::exp(-5 * t) * (1 - std::exp(-40 * t));
        trace.lineTo(x, 32 - amplitude * std::sin(x * 1.9));
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0xFF, 0x80, 0x00), 2.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(trace);
    return pixmap;
}

} // namespace vibrex
