#include "io/StagedOutput.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace vibrex {

namespace {

namespace fs = std::filesystem;

// More links than any real chain holds: a loop.
constexpr int kMaxLinks = 40;

std::string Cause(int error) {
    return std::strerror(error);
}

std::string CantCreate(const fs::path& path, int error) {
    return "Can't open an output file:" + path.string() + " (" + Cause(error) + ")";
}

// Written in place rather than replaced: there is no file to replace, only a stream. Asked of
// the path itself, since links such as /dev/stdout may name no file at all.
bool IsStream(const fs::path& path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    return type == fs::file_type::character || type == fs::file_type::fifo;
}

fs::path FolderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// A fresh, empty file beside `final`, with the permissions the final file has (or would get);
// null with `error` set when the folder does not take it.
FileHandle CreateTemporary(const fs::path& final, fs::path& temporary, int& error) {
    std::string name = (FolderOf(final) / ".vibrex-XXXXXX").string();
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) {
        error = errno;
        return nullptr;
    }
    temporary = name;
    struct stat existing {};
    if (stat(final.c_str(), &existing) == 0) {
        fchmod(descriptor, existing.st_mode & 07777);
        [[maybe_unused]] const int owner = fchown(descriptor, existing.st_uid, existing.st_gid);
    } else {
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(descriptor, 0666 & ~mask);
    }
    FileHandle file(fdopen(descriptor, "w+b")); // writers may read back what they wrote
    if (!file) {
        error = errno;
        close(descriptor);
        unlink(temporary.c_str());
    }
    return file;
}

// Whether a new file could be made at `path`: made with O_EXCL, so it is ours to remove again.
int CreationError(const fs::path& path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (descriptor < 0) {
        return errno == EEXIST ? 0 : errno;
    }
    close(descriptor);
    unlink(path.c_str());
    return 0;
}

// Waits until the file's bytes are on the disk, so that a power cut after the rename cannot
// leave an empty or short file under the final name. 0 or the cause; a file system that keeps
// nothing to sync (EINVAL) has nothing to lose either.
int SyncToDisk(const fs::path& path, int flags) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    int error = fsync(descriptor) == 0 ? 0 : errno;
    close(descriptor);
    if (error == EINVAL || error == ENOTSUP) {
        error = 0;
    }
    return error;
}

std::runtime_error CantWrite(const fs::path& path, int error) {
    return std::runtime_error("Can't write the file: " + path.string() + " (" + Cause(error) + ")");
}

} // namespace

fs::path ResolveLinks(const fs::path& path) {
    fs::path resolved = path;
    std::error_code error;
    for (int link = 0; link < kMaxLinks && fs::is_symlink(resolved, error); ++link) {
        const fs::path target = fs::read_symlink(resolved, error);
        if (error) {
            break;
        }
        resolved = target.is_absolute() ? target : FolderOf(resolved) / target;
    }
    return resolved;
}

std::string OutputProblem(const fs::path& path) {
    if (path.empty()) {
        return "No output file is named.";
    }
    if (IsStream(path)) {
        return access(path.c_str(), W_OK) == 0 ? std::string() : Cause(errno);
    }
    const fs::path target = ResolveLinks(path);
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (fs::exists(status)) {
        if (status.type() != fs::file_type::regular) {
            return target.string() + " is not a regular file.";
        }
        if (access(target.c_str(), W_OK) != 0) {
            return Cause(errno);
        }
    } else if (const int creation = CreationError(target); creation != 0) {
        return Cause(creation);
    }
    // The folder must take the temporary file the output is written to first.
    fs::path temporary;
    int temporaryError = 0;
    if (!CreateTemporary(target, temporary, temporaryError)) {
        return Cause(temporaryError);
    }
    unlink(temporary.c_str());
    return {};
}

OutputFile CreateStagedOutput(const fs::path& path, StagedOutput& staged) {
    staged = {{}, path};
    if (IsStream(path)) {
        FileHandle file(std::fopen(path.c_str(), "wb"));
        if (!file) {
            throw std::runtime_error(CantCreate(path, errno));
        }
        return OutputFile(std::move(file), path);
    }
    const fs::path target = ResolveLinks(path);
    staged.final = target;
    std::error_code error;
    if (fs::is_directory(target, error)) {
        throw std::runtime_error(CantCreate(path, EISDIR));
    }
    // A name the folder cannot hold fails now, not after the whole output has been written.
    if (!fs::exists(target, error)) {
        if (const int creation = CreationError(target); creation != 0) {
            throw std::runtime_error(CantCreate(path, creation));
        }
    }
    int creationError = 0;
    FileHandle file = CreateTemporary(target, staged.temporary, creationError);
    if (!file) {
        throw std::runtime_error(CantCreate(path, creationError));
    }
    return OutputFile(std::move(file), path);
}

// The data reach the disk before the name does, and the folder's new entry after it: whatever
// stands under the final name after a crash is either the old file or the complete new one.
void CommitStagedOutput(const StagedOutput& staged) {
    if (staged.temporary.empty()) {
        return;
    }
    int error = SyncToDisk(staged.temporary, O_RDONLY);
    if (error == 0 && rename(staged.temporary.c_str(), staged.final.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        DiscardStagedOutput(staged);
        throw CantWrite(staged.final, error);
    }
    // The file is complete under its name by now; a folder that cannot be synced leaves only
    // the name's durability to the file system, which is no reason to call the output failed.
    static_cast<void>(SyncToDisk(FolderOf(staged.final), O_RDONLY | O_DIRECTORY));
}

void DiscardStagedOutput(const StagedOutput& staged) {
    if (!staged.temporary.empty()) {
        unlink(staged.temporary.c_str());
    }
}

} // namespace vibrex
