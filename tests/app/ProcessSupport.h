#pragma once

#include "support/TestSupport.h"

#include <filesystem>
#include <string>
#include <vector>

// Running the real executable as a user or a script would, for the black-box tests.
namespace vibrex::test {

struct ProcessResult {
    int exitCode;
    std::string stderrText;
    std::string stdoutText;
};

// `argument` as one word for /bin/sh.
std::string Quote(const std::string& argument);

// Runs `command` with /bin/sh from inside `folder`, with no display; stderr is kept apart.
ProcessResult RunShell(const TempFolder& folder, const std::string& command);

ProcessResult Vibrex(const TempFolder& folder, const std::vector<std::string>& arguments,
                     const std::filesystem::path& executable = VIBREX_EXECUTABLE);

// A private copy of the program in `folder`/program, so that its work area holds only what its
// own runs leave: other tests run the shared build at the same time.
std::filesystem::path PrivateProgramCopy(const TempFolder& folder);

// What a program folder holds besides the program: work folders or files left behind.
std::vector<std::string> LeftInProgramFolder(const std::filesystem::path& executable);

} // namespace vibrex::test
