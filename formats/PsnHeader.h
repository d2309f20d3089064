#pragma once

#include "engine/HeaderProperties.h"
#include "io/FileIO.h"

// What the PSN ASCII and PSN CM6 codecs share: the header of "Key: value" lines that ends at
// the data line, read as the intermediate channel file's own header is.
namespace vibrex {

// Reads the header of the file `lines` opened, leaving `lines` just after its data line; false
// when the file has no data line. Throws HeaderLoadError when the file could not be opened.
bool ReadPsnHeader(LineReader& lines, HeaderValues& values);

} // namespace vibrex
