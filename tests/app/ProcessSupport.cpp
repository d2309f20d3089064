#include "ProcessSupport.h"

#include <cstdio>
#include <sys/wait.h>

namespace vibrex::test {

std::string Quote(const std::string& argument) {
    std::string quoted = "'";
    for (char c : argument) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

ProcessResult RunShell(const TempFolder& folder, const std::string& command) {
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

ProcessResult Vibrex(const TempFolder& folder, const std::vector<std::string>& arguments,
                     const std::filesystem::path& executable) {
    std::string command = Quote(executable.string());
    for (const auto& argument : arguments) {
        command += " " + Quote(argument);
    }
    return RunShell(folder, command);
}

std::filesystem::path PrivateProgramCopy(const TempFolder& folder) {
    const std::filesystem::path programFolder = folder / "program";
    std::filesystem::create_directory(programFolder);
    std::filesystem::copy_file(VIBREX_EXECUTABLE, programFolder / "vibrex");
    return programFolder / "vibrex";
}

std::vector<std::string> LeftInProgramFolder(const std::filesystem::path& executable) {
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(executable.parent_path())) {
        if (entry.path() != executable) {
            left.push_back(entry.path().filename().string());
        }
    }
    return left;
}

} // namespace vibrex::test
