#include "app/ModMain.h"

#include "engine/ClsConverter.h"
#include "io/Numbers.h"
#include "io/StagedOutput.h"

#include <algorithm>
#include <cstdio>

namespace vibrex {

namespace {

constexpr std::size_t kMaxArguments = 101;

BatchResult Exit(int code, std::string reason) {
    return {code, std::move(reason)};
}

bool IsRegularFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

bool NamesAnInput(const std::string& output, const std::vector<std::string>& inputs) {
    std::error_code error;
    for (const auto& input : inputs) {
        if (std::filesystem::equivalent(output, input, error)) {
            return true;
        }
    }
    return false;
}

// Why the conversion could not write `output`, or empty. Nothing that stands there is touched;
// an output that is one of the inputs is refused, since inputs are never modified.
std::string OutputRefusal(const std::string& output, const std::vector<std::string>& inputs) {
    if (NamesAnInput(output, inputs)) {
        return "The output file is one of the inputs: " + output;
    }
    const std::string problem = OutputProblem(output);
    return problem.empty() ? problem
                           : "The output file cannot be created: " + output + ": " + problem;
}

// The line of an engine's error text that says what went wrong: its "Additional info: "
// detail, or else its first line.
std::string ErrorDetail(const std::string& text) {
    const std::string marker = "Additional info: ";
    const std::size_t detail = text.find(marker);
    const std::size_t start = detail == std::string::npos ? 0 : detail + marker.size();
    return text.substr(start, text.find('\r', start) - start);
}

// The loader's own cause, as the window shows it, so that a log of refused files says why.
std::string RefusalReason(const ClsConverter& engine, const std::string& input) {
    if (GuessFileFormat(input) == FileFormat::Unknown) {
        return "Unrecognized file format: " + input;
    }
    const std::string cause = ErrorDetail(engine.AddFileRefusal());
    return "The input file cannot be loaded: " + input + (cause.empty() ? "" : ": " + cause);
}

bool EndedBadly(const ClsConverter& engine, int index) {
    const ConversionStatus status = engine.FileStatus(index);
    return status == ConversionStatus::FileMissing || status == ConversionStatus::Failed;
}

// One line: the file, its status and, for a failure, the detail of the engine's error text.
std::string FailureReason(const ClsConverter& engine, int index) {
    std::string reason = engine.FilePath(index) + ": " +
                         ClsConverter::ConversionStatusToString(engine.FileStatus(index));
    const std::string line = ErrorDetail(engine.FileErrorText(index));
    return line.empty() ? reason : reason + ": " + line;
}

BatchResult Convert(const std::vector<std::string>& args, ClsConverter& engine) {
    if (args.size() != 4) {
        return Exit(kExitWrongArgumentCount,
                    "CONVERT takes an input file, an output file and a format name.");
    }
    const std::string& input = args[1];
    const std::string& output = args[2];
    if (!IsRegularFile(input)) {
        return Exit(kExitInputMissing, "Input file not found: " + input);
    }
    if (const std::string refusal = OutputRefusal(output, {input}); !refusal.empty()) {
        return Exit(kExitOutputNotCreatable, refusal);
    }
    if (!engine.AddFile(input)) {
        return Exit(kExitInputRefused, RefusalReason(engine, input));
    }
    const FileFormat format = StringToFileFormat(args[3]);
    if (format == FileFormat::Unknown) {
        return Exit(kExitUnknownFormat, "Unrecognized format name: " + args[3]);
    }
    engine.SetFileOutputFormat(0, format);
    if (const std::string problem = engine.FileLimitProblem(0); !problem.empty()) {
        return Exit(kExitFormatCannotTakeInput, problem);
    }
    engine.SetFileOutputPath(0, output);
    engine.SetShowUI(true);
    engine.StartConversion();
    if (EndedBadly(engine, 0)) {
        return Exit(kExitConversionFailed, "Conversion failed: " + FailureReason(engine, 0));
    }
    return Exit(kExitDone, {});
}

BatchResult Merge(const std::vector<std::string>& args, ClsConverter& engine) {
    if (args.size() < 4) {
        return Exit(kExitWrongArgumentCount,
                    "MERGE takes input files, an output file and a format name.");
    }
    const std::vector<std::string> inputs(args.begin() + 1, args.end() - 2);
    const std::string& output = args[args.size() - 2];
    for (const auto& input : inputs) {
        if (!IsRegularFile(input)) {
            return Exit(kExitInputMissing, "Input file not found: " + input);
        }
    }
    if (const std::string refusal = OutputRefusal(output, inputs); !refusal.empty()) {
        return Exit(kExitOutputNotCreatable, refusal);
    }
    for (const auto& input : inputs) {
        if (!engine.AddFile(input)) {
            return Exit(kExitInputRefused, RefusalReason(engine, input));
        }
    }
    const FileFormat format = StringToFileFormat(args.back());
    if (format == FileFormat::Unknown) {
        return Exit(kExitUnknownFormat, "Unrecognized format name: " + args.back());
    }
    if (!IsMultichannelFormat(format)) {
        return Exit(kExitFormatCannotTakeInput,
                    FileFormatToString(format) +
                        " holds one channel: it cannot be a merge output.");
    }
    for (int index = 0; index < engine.FilesCount(); ++index) {
        engine.SetFileOutputFormat(index, format);
    }
    if (const std::string problem = engine.MergeLimitProblem(); !problem.empty()) {
        return Exit(kExitFormatCannotTakeInput, problem);
    }
    engine.SetMergeFilePath(output);
    engine.SetShowUI(true);
    engine.StartConversion();
    for (int index = 0; index < engine.FilesCount(); ++index) {
        if (EndedBadly(engine, index)) {
            return Exit(kExitConversionFailed, "Merge failed: " + FailureReason(engine, index));
        }
    }
    return Exit(kExitDone, {});
}

// Every file is described that can be, so that one bad file in a list hides none of the others;
// the exit code is the first failure's.
BatchResult Info(const std::string& commandLine, ClsConverter& engine, std::ostream& report,
                 InfoStyle style) {
    const std::vector<std::string> args = SplitCommandLine(commandLine);
    if (args.size() < 2) {
        return Exit(kExitWrongArgumentCount, "INFO takes one or more input files.");
    }
    // The arguments past the limit would be dropped unseen, and a script would take the files
    // it named for described.
    if (static_cast<std::size_t>(std::count(commandLine.begin(), commandLine.end(), ',')) >=
        kMaxArguments) {
        return Exit(kExitWrongArgumentCount,
                    "INFO takes at most " + std::to_string(kMaxArguments - 1) + " files.");
    }
    BatchResult result = Exit(kExitDone, {});
    const auto fail = [&result](int code, const std::string& reason) {
        if (result.exitCode == kExitDone) {
            result.exitCode = code;
        }
        result.reason += (result.reason.empty() ? "" : "\n") + reason;
    };
    for (auto input = args.begin() + 1; input != args.end(); ++input) {
        if (!IsRegularFile(*input)) {
            fail(kExitInputMissing, "Input file not found: " + *input);
        } else if (!engine.AddFile(*input)) {
            fail(kExitInputRefused, RefusalReason(engine, *input));
        } else {
            report << DescribeFile(engine, 0, style) << std::flush;
            engine.RemoveFile(0); // the same file may be named twice
        }
    }
    return result;
}

} // namespace

std::vector<std::string> SplitCommandLine(const std::string& commandLine) {
    std::vector<std::string> args;
    std::size_t start = 0;
    while (args.size() < kMaxArguments) {
        const std::size_t comma = commandLine.find(',', start);
        args.emplace_back(TrimBlanks(
            std::string_view(commandLine)
                .substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    return args;
}

bool ShowsProgress(const std::string& commandLine) {
    return ToUpper(SplitCommandLine(commandLine).front()) != "INFO";
}

BatchResult RunBatch(const std::string& commandLine, ConverterHost& host, std::ostream& report,
                     InfoStyle style) {
    const std::vector<std::string> args = SplitCommandLine(commandLine);
    const std::string verb = ToUpper(args.front());
    if (style == InfoStyle::Json && verb != "INFO") {
        return Exit(kExitWrongArgumentCount,
                    "--json is for INFO only: CONVERT and MERGE answer with their exit code.");
    }
    ClsConverter engine(&host);
    engine.SetVerbose(false);
    if (verb == "CONVERT") {
        return Convert(args, engine);
    }
    if (verb == "MERGE") {
        return Merge(args, engine);
    }
    if (verb == "INFO") {
        return Info(commandLine, engine, report, style);
    }
    return Exit(kExitUnknownVerb, "Unknown command \"" + args.front() +
                                      "\": use CONVERT, MERGE or INFO (vibrex --help).");
}

} // namespace vibrex
