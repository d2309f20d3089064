#pragma once

#include <filesystem>

// Where the program keeps its settings file and its work folders. A copy run from its build or
// unpacked folder keeps both beside the executable; an installed copy (its executable in a
// "bin" folder, or in a folder it cannot write to) uses the user's configuration folder and a
// private folder under the temporary one, so that a cluster's shared home carries no
// intermediate files.
namespace vibrex {

struct ProgramFolders {
    std::filesystem::path settingsFile;
    std::filesystem::path workFolderParent;
};

// Decides for the running executable, or for `executable` when given.
ProgramFolders LocateProgramFolders(const std::filesystem::path& executable = {});

} // namespace vibrex
