#include "formats/PsnHeader.h"

#include "engine/ChannelFile.h"
#include "engine/Codec.h"

namespace vibrex {

bool ReadPsnHeader(LineReader& lines, HeaderValues& values) {
    if (!lines.IsOpen()) {
        throw HeaderLoadError("LoadHeader_PSN", "Can't open the file.");
    }
    return ReadHeaderBlock(lines, values);
}

} // namespace vibrex
