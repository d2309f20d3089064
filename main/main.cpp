// vibrex: no arguments opens the window; any arguments run one batch command.
#include "app/ConsoleHost.h"
#include "app/ModMain.h"
#include "io/Interrupt.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#ifdef VIBREX_WITH_UI
#include "main/Window.h"
#endif

namespace {

constexpr const char* kUsage =
    "Usage:\n"
    "  vibrex                                   open the window\n"
    "  vibrex \"CONVERT,input,output,format\"     convert one recording\n"
    "  vibrex \"MERGE,in1,in2,...,output,format\" merge recordings into one multichannel file\n"
    "  vibrex [--json] \"INFO,file1,file2,...\"    print each file's format, channels and header\n"
    "\n"
    "Arguments are separated by commas; blanks around them are ignored. Formats: miniSeed, SAC,\n"
    "PSNINT (PSNTEXTASCII), PSNCM6, GSECM6, GSEINT, SAF, SEG2, SU, Seisan, Geonode, Ondaro,\n"
    "\"WAV (Audio)\" (output only).\n"
    "Exit codes: 0 done, 1 unknown verb, 2 input missing, 3 output cannot be created,\n"
    "4 input refused, 5 unknown format, 6 conversion failed, 7 format cannot take the input,\n"
    "8 wrong number of arguments (or --json with CONVERT or MERGE). More in: man vibrex\n";

constexpr const char* kJsonOption = "--json";

// The words of the command line but the options, joined by blanks as the shell split them.
std::string JoinArguments(int argc, char** argv) {
    std::string commandLine;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], kJsonOption) == 0) {
            continue;
        }
        if (!commandLine.empty()) {
            commandLine += ' ';
        }
        commandLine += argv[i];
    }
    return commandLine;
}

vibrex::InfoStyle InfoStyleOf(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], kJsonOption) == 0) {
            return vibrex::InfoStyle::Json;
        }
    }
    return vibrex::InfoStyle::Text;
}

void PrintReason(const std::string& reason) {
    std::size_t start = 0;
    for (std::size_t end; (end = reason.find('\n', start)) != std::string::npos; start = end + 1) {
        std::fprintf(stderr, "vibrex: %s\n", reason.substr(start, end - start).c_str());
    }
    std::fprintf(stderr, "vibrex: %s\n", reason.substr(start).c_str());
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("vibrex %s\n", VIBREX_VERSION);
        return 0;
    }
    if (argc > 1) {
        vibrex::CatchInterrupts();
        std::signal(SIGPIPE, SIG_IGN); // a closed pipe as output is a write error, not a kill
        const std::string commandLine = JoinArguments(argc, argv);
        vibrex::ConsoleHost console;
        vibrex::ConverterHost* host = &console;
#ifdef VIBREX_WITH_UI
        // With a display a conversion shows the progress window, with its Abort button.
        const std::unique_ptr<vibrex::ConverterHost> window =
            vibrex::ShowsProgress(commandLine) ? vibrex::MakeProgressWindow() : nullptr;
        if (window) {
            host = window.get();
        }
#endif
        const vibrex::BatchResult result =
            vibrex::RunBatch(commandLine, *host, std::cout, InfoStyleOf(argc, argv));
        if (const int signal = vibrex::CaughtInterrupt(); signal != 0) {
            // The run was aborted and cleaned up; the shell expects 128 + the signal.
            std::fprintf(stderr, "vibrex: %s: the conversion was aborted.\n", strsignal(signal));
            return 128 + signal;
        }
        if (result.exitCode != vibrex::kExitDone) {
            PrintReason(result.reason);
        }
        return result.exitCode;
    }
#ifdef VIBREX_WITH_UI
    return vibrex::RunWindow(argc, argv);
#else
    std::fputs("This build of vibrex has no window; see vibrex --help for batch mode.\n", stderr);
    return 1;
#endif
}
