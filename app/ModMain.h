#pragma once

#include "engine/ConverterHost.h"

#include <string>
#include <vector>

// Batch mode: "CONVERT,input,output,format" or "MERGE,input1,...,inputK,output,format".
namespace vibrex {

enum BatchExitCode : int {
    kExitDone = 0,
    kExitUnknownVerb = 1,
    kExitInputMissing = 2,
    kExitOutputNotCreatable = 3,
    kExitInputRefused = 4,
    kExitUnknownFormat = 5,
    kExitConversionFailed = 6,
    kExitFormatCannotTakeInput = 7,
    kExitWrongArgumentCount = 8,
};

struct BatchResult {
    int exitCode = kExitDone;
    std::string reason; // one line for stderr when the code is not 0
};

// Splits the command line at commas, each argument trimmed; at most 101 arguments.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

// Runs one batch conversion; the host shows progress (the engine runs with ShowUI on and
// Verbose off).
BatchResult RunBatch(const std::string& commandLine, ConverterHost& host);

} // namespace vibrex
