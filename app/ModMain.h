#pragma once

#include "app/ModInfo.h"
#include "engine/ConverterHost.h"

#include <iostream>
#include <string>
#include <vector>

// Batch mode: "CONVERT,input,output,format" or "MERGE,input1,...,inputK,output,format", and
// "INFO,file1,...,fileK", which prints what each file is without converting it.
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
    std::string reason; // for stderr when the code is not 0: one line, or one per file for INFO
};

// Splits the command line at commas, each argument trimmed; at most 101 arguments.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

// Whether the command converts, and so has progress to show; INFO only reads headers.
bool ShowsProgress(const std::string& commandLine);

// Runs one batch command; the host shows progress (the engine runs with ShowUI on and Verbose
// off). INFO writes its description of each file to `report` as soon as the file is read.
BatchResult RunBatch(const std::string& commandLine, ConverterHost& host,
                     std::ostream& report = std::cout, InfoStyle style = InfoStyle::Text);

} // namespace vibrex
