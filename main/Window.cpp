#include "main/Window.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace vibrex {

namespace {

bool IsSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// Beside the executable in a build tree, or the installed library folder relative to it.
std::filesystem::path WindowLibraryPath() {
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const auto beside = folder / VIBREX_WINDOW_LIBRARY;
    if (std::filesystem::exists(beside, error)) {
        return beside;
    }
    return folder / VIBREX_INSTALLED_WINDOW_FOLDER / VIBREX_WINDOW_LIBRARY;
}

// The entry point `name` of the window's library, loaded once and kept to the end of the
// process; null with `problem` set when the library or the entry point is missing.
void* WindowEntryPoint(const char* name, std::string& problem) {
    static void* const library = dlopen(WindowLibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    void* entry = library != nullptr ? dlsym(library, name) : nullptr;
    if (entry == nullptr) {
        const char* reason = dlerror();
        problem = reason != nullptr ? reason : name;
    }
    return entry;
}

} // namespace

int RunWindow(int argc, char** argv) {
    std::string problem;
    auto* run =
        reinterpret_cast<VibrexRunDesktop*>(WindowEntryPoint("vibrex_run_desktop", problem));
    if (run == nullptr) {
        std::fprintf(stderr, "vibrex: the window cannot be opened: %s\n", problem.c_str());
        return 1;
    }
    return run(argc, argv);
}

std::unique_ptr<ConverterHost> MakeProgressWindow() {
    // Without a display the library would only be loaded to find that out.
    if (!IsSet("DISPLAY") && !IsSet("WAYLAND_DISPLAY")) {
        return nullptr;
    }
    std::string problem;
    auto* make = reinterpret_cast<VibrexMakeBatchProgressHost*>(
        WindowEntryPoint("vibrex_make_batch_progress_host", problem));
    return std::unique_ptr<ConverterHost>(make != nullptr ? make() : nullptr);
}

} // namespace vibrex
