// The window's library: the entry points through which the executable reaches the desktop.
#include "main/Window.h"
#include "ui/Desktop.h"

#include <type_traits>

extern "C" {

__attribute__((visibility("default"))) int vibrex_run_desktop(int argc, char** argv) {
    return vibrex::RunDesktop(argc, argv);
}

__attribute__((visibility("default"))) vibrex::ConverterHost* vibrex_make_batch_progress_host() {
    return vibrex::MakeBatchProgressHost().release();
}
}

// The executable calls them through these types.
static_assert(std::is_same_v<decltype(vibrex_run_desktop), VibrexRunDesktop>);
static_assert(
    std::is_same_v<decltype(vibrex_make_batch_progress_host), VibrexMakeBatchProgressHost>);
