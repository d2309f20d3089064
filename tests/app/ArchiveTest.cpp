#include "ProcessSupport.h"
#include "engine/ClsConverter.h"
#include "formats/ConversionTest.h"
#include "io/Numbers.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

// Many conversions at once, as archives are converted: several processes sharing one program
// folder and one output folder, and GNU parallel over a folder tree.
namespace vibrex {
namespace {

using test::LeftInProgramFolder;
using test::PrivateProgramCopy;
using test::PsnText;
using test::Quote;
using test::RunShell;
using test::TempFolder;
using test::WriteFile;

// The formats a recording comes in, with the extension it gets here. miniSEED inputs are
// ".msd", so that the ".mseed" outputs beside them never take their names.
struct Kind {
    FileFormat format;
    const char* extension;
};
constexpr std::array<Kind, 3> kKinds = {
    {{FileFormat::PSNINT, ".psn"}, {FileFormat::SAC, ".sac"}, {FileFormat::miniSeed, ".msd"}}};

// A recording, or what the engine reads back from a file (no samples if it is refused).
struct Recording {
    std::filesystem::path path;
    std::string station;
    std::vector<double> samples;
};

std::vector<double> SamplesOfRecording(int number) {
    std::vector<double> samples(static_cast<std::size_t>(40 + number % 17));
    for (std::size_t k = 0; k < samples.size(); ++k) {
        samples[k] =
            static_cast<double>((number * 131 + static_cast<int>(k * k) * 7) % 20001 - 10000);
    }
    return samples;
}

std::string PsnOf(const Recording& recording) {
    std::vector<std::string> sampleTexts;
    for (double sample : recording.samples) {
        sampleTexts.push_back(std::to_string(static_cast<int>(sample)));
    }
    return PsnText({"Start Time: 2024/01/02 03:04:05.000",
                    "Number of Samples: " + std::to_string(sampleTexts.size()), "SPS: 100",
                    "Station Code: " + recording.station},
                   sampleTexts);
}

// `count` small recordings spread over nested folders under `root`, in turn PSN ASCII, SAC and
// miniSEED; the engine makes the last two from PSN text. Its work folder goes in `scratch`.
std::vector<Recording> MakeArchive(const std::filesystem::path& root, int count,
                                   const std::filesystem::path& scratch) {
    std::vector<Recording> recordings;
    std::vector<std::filesystem::path> sources;
    ClsConverter engine(nullptr, scratch);
    engine.SetVerbose(false);
    for (int number = 0; number < count; ++number) {
        const std::filesystem::path folder =
            root / ("station" + std::to_string(number % 5)) / ("day" + std::to_string(number % 7));
        std::filesystem::create_directories(folder);
        const Kind& kind = kKinds[static_cast<std::size_t>(number) % kKinds.size()];
        const std::string name = "rec" + std::to_string(number);
        const Recording recording{folder / (name + kind.extension), "S" + std::to_string(number),
                                  SamplesOfRecording(number)};
        const std::filesystem::path source = folder / (name + ".psn");
        WriteFile(source, PsnOf(recording));
        if (kind.format != FileFormat::PSNINT) {
            engine.AddFile(source.string());
            const int index = engine.FilesCount() - 1;
            engine.SetFileOutputFormat(index, kind.format);
            engine.SetFileOutputPath(index, recording.path.string());
            sources.push_back(source);
        }
        recordings.push_back(recording);
    }
    engine.StartConversion();
    for (const auto& source : sources) {
        std::filesystem::remove(source);
    }
    return recordings;
}

std::vector<double> DataOfPsn(const std::filesystem::path& path) {
    std::vector<double> samples;
    for (const std::string& line : test::DataLines(path)) {
        samples.push_back(ParseNumber(line).value_or(-1e300));
    }
    return samples;
}

// Each file read by the engine and written as PSN text, whose samples are plain to read.
std::vector<Recording> ReadBackAll(const std::vector<std::filesystem::path>& paths,
                                   const std::filesystem::path& scratch) {
    ClsConverter engine(nullptr, scratch);
    engine.SetVerbose(false);
    std::vector<Recording> found(paths.size());
    std::vector<std::filesystem::path> copies(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (engine.AddFile(paths[i].string())) {
            const int index = engine.FilesCount() - 1;
            copies[i] = scratch / ("back" + std::to_string(i) + ".psn");
            engine.SetFileOutputFormat(index, FileFormat::PSNINT);
            engine.SetFileOutputPath(index, copies[i].string());
            found[i].station = TrimBlanks(engine.HeaderProperty(index, 0, kStationCode));
        }
    }
    engine.StartConversion();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (!copies[i].empty()) {
            found[i].samples = DataOfPsn(copies[i]);
        }
    }
    return found;
}

// Every file under `root`, relative to it, sorted.
std::vector<std::string> FilesUnder(const std::filesystem::path& root) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (!entry.is_directory()) {
            files.push_back(std::filesystem::relative(entry.path(), root).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The run succeeded silently, every output holds its recording (station and every sample),
// `root` holds exactly `expected` and the program folder holds nothing.
void ExpectCleanRun(const test::ProcessResult& run, const std::vector<Recording>& recordings,
                    const std::vector<std::filesystem::path>& outputs,
                    const std::filesystem::path& root,
                    const std::vector<std::filesystem::path>& expected, const TempFolder& folder,
                    const std::filesystem::path& program) {
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.stderrText.empty()) << run.stderrText.substr(0, 2000);
    const std::filesystem::path scratch = folder / "read-back";
    std::filesystem::create_directory(scratch);
    const std::vector<Recording> found = ReadBackAll(outputs, scratch);
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        EXPECT_EQ(found[i].station, recordings[i].station) << outputs[i];
        EXPECT_EQ(found[i].samples, recordings[i].samples) << outputs[i];
    }
    std::vector<std::string> names;
    for (const auto& path : expected) {
        names.push_back(std::filesystem::relative(path, root).string());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(FilesUnder(root), names);
    EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
}

// Each output in the format after its input's, so every reader and writer runs under load.
TEST(Archive, EightProcessesAtOnceShareOneProgramFolderAndOneOutputFolder) {
    TempFolder folder;
    const std::filesystem::path program = PrivateProgramCopy(folder);
    const std::vector<Recording> recordings = MakeArchive(folder / "in", 48, folder.Path());
    const std::filesystem::path outFolder = folder / "out";
    std::filesystem::create_directory(outFolder);
    std::string commands;
    std::vector<std::filesystem::path> outputs;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        const Kind& kind = kKinds[(i + 1) % kKinds.size()];
        outputs.push_back(outFolder / ("out" + std::to_string(i) + kind.extension));
        commands += "CONVERT," + recordings[i].path.string() + "," + outputs.back().string() + "," +
                    ClsConverter::FileFormatToString(kind.format) + "\n";
    }
    WriteFile(folder / "commands.txt", commands);
    const test::ProcessResult run =
        RunShell(folder, "xargs -d '\\n' -n 1 -P 8 " + Quote(program.string()) + " <commands.txt");
    ExpectCleanRun(run, recordings, outputs, outFolder, outputs, folder, program);
}

// The line docs/archives.md gives, over a tree of a few dozen recordings.
TEST(Archive, GnuParallelConvertsEveryRecordingOfATree) {
    if (std::system("command -v parallel >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "GNU parallel is not installed; scripts/setup.sh --tests installs it";
    }
    TempFolder folder;
    const std::filesystem::path program = PrivateProgramCopy(folder);
    const std::filesystem::path archive = folder / "archive";
    const std::vector<Recording> recordings = MakeArchive(archive, 30, folder.Path());
    const test::ProcessResult run =
        RunShell(folder, "export PATH=" + Quote(program.parent_path().string()) +
                             ":\"$PATH\"; find archive -type f ! -name '*.mseed' ! -name '.*' |"
                             " parallel vibrex \"CONVERT,{},{.}.mseed,miniSeed\"");
    std::vector<std::filesystem::path> outputs;
    std::vector<std::filesystem::path> everyFile;
    for (const Recording& recording : recordings) {
        outputs.push_back(std::filesystem::path(recording.path).replace_extension(".mseed"));
        everyFile.push_back(recording.path);
        everyFile.push_back(outputs.back());
    }
    ExpectCleanRun(run, recordings, outputs, archive, everyFile, folder, program);
}

} // namespace
} // namespace vibrex
