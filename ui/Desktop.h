#pragma once

#include "engine/ConverterHost.h"

#include <memory>

// The two ways the program uses the desktop: the main window, and the progress window of a
// batch conversion.
namespace vibrex {

// Opens the main window and runs until it is closed; returns the process exit code.
int RunDesktop(int argc, char** argv);

// A host that shows the conversion progress window during a batch run, or null when no
// display is available (the caller then reports on the console).
std::unique_ptr<ConverterHost> MakeBatchProgressHost();

} // namespace vibrex
