#pragma once

#include "io/FileIO.h"

#include <filesystem>
#include <string>

// Outputs that never harm what stands at their path before they are complete: a regular file is
// written under a temporary name in the same folder and renamed into place at the end, so an
// existing file keeps its bytes until then and a failed run leaves it as it was. A symbolic link
// is written through to its target, as cp does; a character device or FIFO (/dev/null, a pipe)
// is written directly and never removed.
namespace vibrex {

// The path with every symbolic link along it followed, even a last one that points nowhere yet.
std::filesystem::path ResolveLinks(const std::filesystem::path& path);

// Why no output can be written at `path`, or empty when one can. Found without creating,
// truncating or removing anything that stands there.
std::string OutputProblem(const std::filesystem::path& path);

// Where an output is being written and where it goes when complete; `temporary` is empty for
// an output written directly.
struct StagedOutput {
    std::filesystem::path temporary;
    std::filesystem::path final;
};

// Opens the output for `path`; its write errors name `path`. Throws std::runtime_error naming
// the cause when it cannot be created.
OutputFile CreateStagedOutput(const std::filesystem::path& path, StagedOutput& staged);
// Puts a complete, closed output in place; throws std::runtime_error naming the cause.
void CommitStagedOutput(const StagedOutput& staged);
// Removes the temporary file of an output that will not be completed.
void DiscardStagedOutput(const StagedOutput& staged);

} // namespace vibrex
