#pragma once

#include <QPixmap>

namespace vibrex {

// The program's picture: a seismogram trace on a dark tile, the same drawing as vibrex.svg.
QPixmap VibrexLogo(int size);

} // namespace vibrex
