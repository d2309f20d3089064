#pragma once

#include "engine/ClsConverter.h"

#include <QString>

// START's check of what the output formats can take, known from the headers before a run.
namespace vibrex {

struct LimitRefusal {
    int file = -1; // -1: every file can be converted
    QString text;
};

// The first file whose output format cannot take it, and the limit it passes.
LimitRefusal FirstLimitRefusal(const ClsConverter& engine);

} // namespace vibrex
