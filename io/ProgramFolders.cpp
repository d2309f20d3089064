#include "io/ProgramFolders.h"

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace vibrex {

namespace {

namespace fs = std::filesystem;

constexpr const char* kSettingsFileName = "Vibrex.ini";

fs::path RunningExecutable() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

bool IsInstalled(const fs::path& folder) {
    return folder.filename() == "bin" || access(folder.c_str(), W_OK) != 0;
}

// The variable's value when it names an absolute path; relative ones are ignored, as the XDG
// base directory rules ask.
fs::path AbsolutePathFrom(const char* variable, const fs::path& fallback) {
    const char* value = std::getenv(variable);
    return value != nullptr && value[0] == '/' ? fs::path(value) : fallback;
}

fs::path HomeFolder() {
    return AbsolutePathFrom("HOME", "/tmp");
}

bool IsPrivateFolderOfOurs(const fs::path& folder) {
    struct stat status {};
    return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & 077) == 0;
}

// "vibrex-<user id>" under the temporary folder, readable by this user alone. One that someone
// else made first is not used: a fresh folder of a random name takes its place.
fs::path PrivateTemporaryFolder() {
    const fs::path temporary = AbsolutePathFrom("TMPDIR", "/tmp");
    const fs::path folder = temporary / ("vibrex-" + std::to_string(geteuid()));
    mkdir(folder.c_str(), 0700);
    if (IsPrivateFolderOfOurs(folder)) {
        return folder;
    }
    std::string pattern = folder.string() + "-XXXXXX";
    return mkdtemp(pattern.data()) != nullptr ? fs::path(pattern) : temporary;
}

} // namespace

ProgramFolders LocateProgramFolders(const fs::path& executable) {
    const fs::path folder = (executable.empty() ? RunningExecutable() : executable).parent_path();
    if (!IsInstalled(folder)) {
        return {folder / kSettingsFileName, folder};
    }
    const fs::path configuration = AbsolutePathFrom("XDG_CONFIG_HOME", HomeFolder() / ".config");
    return {configuration / "Vibrex" / kSettingsFileName, PrivateTemporaryFolder()};
}

} // namespace vibrex
