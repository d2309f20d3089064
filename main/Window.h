#pragma once

#include "engine/ConverterHost.h"

#include <memory>

// The window lives in a library of its own, loaded only when a window may open: batch runs
// without a display then never load Qt, which would cost more than a short conversion itself.
namespace vibrex {

// Opens the main window and runs until it is closed; returns the process exit code, 1 with a
// message on stderr when the window's library cannot be loaded.
int RunWindow(int argc, char** argv);

// The progress window of a batch conversion, or null when no display is available or the
// window's library cannot be loaded (the console then reports the progress).
std::unique_ptr<ConverterHost> MakeProgressWindow();

} // namespace vibrex

// The library's entry points, looked up by these names.
extern "C" {
using VibrexRunDesktop = int(int argc, char** argv);
using VibrexMakeBatchProgressHost = vibrex::ConverterHost*();
}
