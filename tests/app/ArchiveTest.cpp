#include "ProcessSupport.h"
#include "engine/ClsConverter.h"
#include "formats/ConversionTest.h"
#include "io/Numbers.h"

#include <array>
#include <gtest/gtest.h>
#include <set>

// Many conversions at once, as archives are converted: several processes sharing one program
// folder and one output folder, and GNU parallel over a folder tree.
namespace vibrex::test {
namespace {

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
    SampleList samples;
};

// `count` small recordings spread over nested folders under `root`, in turn PSN ASCII, SAC and
// miniSEED; the engine makes the last two from PSN text. Its work folder goes in `scratch`.
std::vector<Recording> MakeArchive(const std::filesystem::path& root, int count,
                                   const std::filesystem::path& scratch) {
    std::vector<Recording> recordings;
    ClsConverter engine(nullptr, scratch);
    engine.SetVerbose(false);
    for (int number = 0; number < count; ++number) {
        const std::filesystem::path folder =
            root / ("station" + std::to_string(number % 5)) / ("day" + std::to_string(number % 7));
        std::filesystem::create_directories(folder);
        const Kind& kind = kKinds[static_cast<std::size_t>(number) % kKinds.size()];
        const std::string name = "rec" + std::to_string(number);
        Recording recording{folder / (name + kind.extension), "S" + std::to_string(number), {}};
        for (int k = 0; k < 40 + number % 17; ++k) {
            recording.samples.push_back((number * 131 + k * k * 7) % 20001 - 10000);
        }
        const std::filesystem::path source = folder / (name + ".psn");
        WriteFile(source, PsnText({"Start Time: 2024/01/02 03:04:05.000",
                                   "Number of Samples: " + std::to_string(recording.samples.size()),
                                   "SPS: 100", "Station Code: " + recording.station},
                                  Texts(recording.samples)));
        if (kind.format != FileFormat::PSNINT) {
            engine.AddFile(source.string());
            engine.SetFileOutputFormat(engine.FilesCount() - 1, kind.format);
            engine.SetFileOutputPath(engine.FilesCount() - 1, recording.path.string());
        }
        recordings.push_back(recording);
    }
    engine.StartConversion();
    for (int index = 0; index < engine.FilesCount(); ++index) {
        std::filesystem::remove(engine.FilePath(index));
    }
    return recordings;
}

// Each file read by the engine and written as PSN text, whose samples are plain to read.
std::vector<Recording> ReadBackAll(const std::vector<std::filesystem::path>& paths,
                                   const std::filesystem::path& scratch) {
    ClsConverter engine(nullptr, scratch);
    engine.SetVerbose(false);
    std::vector<Recording> found(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        found[i].path = scratch / ("back" + std::to_string(i) + ".psn");
        if (engine.AddFile(paths[i].string())) {
            const int index = engine.FilesCount() - 1;
            engine.SetFileOutputFormat(index, FileFormat::PSNINT);
            engine.SetFileOutputPath(index, found[i].path.string());
            found[i].station = TrimBlanks(engine.HeaderProperty(index, 0, kStationCode));
        }
    }
    engine.StartConversion();
    for (Recording& recording : found) {
        recording.samples = PsnSamples(recording.path);
    }
    return found;
}

// Eight processes at once share one program folder and one output folder, each output in the
// format after its input's so that every reader and writer runs under load; then GNU parallel
// converts the tree in place with the line docs/archives.md gives. Each run succeeds silently,
// every output holds its recording (station and every sample), the folder written holds exactly
// what it should and the program folder holds nothing.
TEST(Archive, ManyProcessesAtOnceConvertATreeOfRecordings) {
    TempFolder folder;
    const std::filesystem::path program = PrivateProgramCopy(folder);
    const std::filesystem::path archive = folder / "archive";
    const std::vector<Recording> recordings = MakeArchive(archive, 30, folder.Path());
    const auto expectCleanRun = [&](const std::string& command,
                                    const std::vector<std::filesystem::path>& outputs,
                                    const std::filesystem::path& root,
                                    const std::vector<std::filesystem::path>& expected) {
        const ProcessResult run = RunShell(folder, command);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_TRUE(run.stderrText.empty()) << run.stderrText.substr(0, 2000);
        const std::filesystem::path scratch = folder / ("read-back-" + root.filename().string());
        std::filesystem::create_directory(scratch);
        const std::vector<Recording> found = ReadBackAll(outputs, scratch);
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            EXPECT_EQ(found[i].station, recordings[i].station) << outputs[i];
            EXPECT_EQ(found[i].samples, recordings[i].samples) << outputs[i];
        }
        std::set<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            if (!entry.is_directory()) {
                files.insert(entry.path());
            }
        }
        EXPECT_EQ(files, std::set<std::filesystem::path>(expected.begin(), expected.end()));
        EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
    };

    std::filesystem::create_directory(folder / "out");
    std::string commands;
    std::vector<std::filesystem::path> outputs;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        const Kind& kind = kKinds[(i + 1) % kKinds.size()];
        outputs.push_back(folder / "out" / ("out" + std::to_string(i) + kind.extension));
        commands += "CONVERT," + recordings[i].path.string() + "," + outputs.back().string() + "," +
                    ClsConverter::FileFormatToString(kind.format) + "\n";
    }
    WriteFile(folder / "commands.txt", commands);
    expectCleanRun("xargs -d '\\n' -n 1 -P 8 " + Quote(program.string()) + " <commands.txt",
                   outputs, folder / "out", outputs);

    if (std::system("command -v parallel >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "GNU parallel is not installed; scripts/setup.sh --tests installs it";
    }
    std::vector<std::filesystem::path> everyFile;
    outputs.clear();
    for (const Recording& recording : recordings) {
        outputs.push_back(std::filesystem::path(recording.path).replace_extension(".mseed"));
        everyFile.insert(everyFile.end(), {recording.path, outputs.back()});
    }
    expectCleanRun("export PATH=" + Quote(program.parent_path().string()) +
                       ":\"$PATH\"; find archive -type f ! -name '*.mseed' ! -name '.*' |"
                       " parallel vibrex \"CONVERT,{},{.}.mseed,miniSeed\"",
                   outputs, archive, everyFile);
}

} // namespace
} // namespace vibrex::test
