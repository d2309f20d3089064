#include "io/OwnedFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vibrex {

namespace {

namespace fs = std::filesystem;

// A descriptor of the folder holding its lock, or -1 when it cannot be had now.
int LockFolder(const fs::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

} // namespace

OwnedFolder::OwnedFolder(fs::path path) : m_path(std::move(path)) {
    const fs::path hidden = m_path.parent_path() / ("." + m_path.filename().string());
    std::error_code error;
    if (!fs::create_directories(hidden, error)) {
        return;
    }
    m_lock = LockFolder(hidden);
    if (m_lock >= 0 && rename(hidden.c_str(), m_path.c_str()) != 0) {
        close(m_lock);
        m_lock = -1;
    }
    if (m_lock < 0) {
        fs::remove_all(hidden, error);
    }
}

OwnedFolder::~OwnedFolder() {
    std::error_code ignored;
    if (m_lock >= 0) {
        fs::remove_all(m_path, ignored);
        close(m_lock);
    }
}

void RemoveAbandonedFolders(const fs::path& parent,
                            const std::function<bool(const std::string&)>& isOwnedFolderName) {
    std::error_code error;
    std::vector<fs::path> candidates;
    for (const auto& entry : fs::directory_iterator(parent, error)) {
        if (isOwnedFolderName(entry.path().filename().string()) && entry.is_directory(error)) {
            candidates.push_back(entry.path());
        }
    }
    for (const fs::path& folder : candidates) {
        // The lock is free only when its owner is gone; it is held while the folder goes.
        if (const int lock = LockFolder(folder); lock >= 0) {
            fs::remove_all(folder, error);
            close(lock);
        }
    }
}

} // namespace vibrex
