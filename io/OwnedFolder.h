#pragma once

#include <filesystem>
#include <functional>

// A private folder shared with no one, marked as owned for as long as its owner lives: the owner
// holds a lock on it, which the system drops when the process ends however it ends. A folder
// left by a killed process is thereby told apart from one in use by another live process.
namespace vibrex {

class OwnedFolder {
public:
    // Creates `path` already locked (under a hidden name first, so that no other process ever
    // sees it without its owner). Without success the folder is simply absent.
    explicit OwnedFolder(std::filesystem::path path);
    // Removes the folder with everything in it.
    ~OwnedFolder();
    OwnedFolder(const OwnedFolder&) = delete;
    OwnedFolder& operator=(const OwnedFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
    int m_lock = -1;
};

// Removes the folders of `parent` whose name `isOwnedFolderName` accepts and that no live process
// owns.
void RemoveAbandonedFolders(const std::filesystem::path& parent,
                            const std::function<bool(const std::string&)>& isOwnedFolderName);

} // namespace vibrex
