#pragma once

#include "support/TestSupport.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <vector>

// Running the real executable as a user or a script would, for the black-box tests.
namespace vibrex::test {

struct ProcessResult {
    int exitCode;
    std::string stderrText;
    std::string stdoutText;
};

// `argument` as one word for /bin/sh.
inline std::string Quote(const std::string& argument) {
    std::string quoted = "'";
    for (char c : argument) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// Runs `command` with /bin/sh from inside `folder`, with no display; stderr is kept apart.
inline ProcessResult RunShell(const TempFolder& folder, const std::string& command) {
    const std::filesystem::path stderrFile = folder / "stderr.txt";
    const std::string line = "cd " + Quote(folder.Path().string()) +
                             " && env -u DISPLAY -u WAYLAND_DISPLAY sh -c " + Quote(command) +
                             " 2>" + Quote(stderrFile.string());
    std::FILE* pipe = popen(line.c_str(), "r");
    std::string out;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        out.append(buffer, got);
    }
    const int status = pclose(pipe);
    ProcessResult result{WEXITSTATUS(status), ReadFile(stderrFile), out};
    std::filesystem::remove(stderrFile);
    return result;
}

inline ProcessResult Vibrex(const TempFolder& folder, const std::vector<std::string>& arguments,
                            const std::filesystem::path& executable = VIBREX_EXECUTABLE) {
    std::string command = Quote(executable.string());
    for (const auto& argument : arguments) {
        command += " " + Quote(argument);
    }
    return RunShell(folder, command);
}

// A private copy of the program in `folder`/program, so that its work area holds only what its
// own runs leave: other tests run the shared build at the same time.
inline std::filesystem::path PrivateProgramCopy(const TempFolder& folder) {
    std::filesystem::create_directory(folder / "program");
    std::filesystem::copy_file(VIBREX_EXECUTABLE, folder / "program/vibrex");
    return folder / "program/vibrex";
}

// What a program folder holds besides the program: work folders or files left behind.
inline std::vector<std::string> LeftInProgramFolder(const std::filesystem::path& executable) {
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(executable.parent_path())) {
        if (entry.path() != executable) {
            left.push_back(entry.path().filename().string());
        }
    }
    return left;
}

} // namespace vibrex::test
