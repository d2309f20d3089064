#include "ProcessSupport.h"
#include "engine/ClsConverter.h"
#include "formats/ConversionTest.h"

#include <array>
#include <regex>
#include <set>

// Many conversions at once, as archives are converted: several processes sharing one program
// folder and one output folder, and GNU parallel over a folder tree.
namespace vibrex::test {
namespace {

namespace fs = std::filesystem;

// The formats a recording comes in, with the extension it gets here. miniSEED inputs are
// ".msd", so that the ".mseed" outputs beside them never take their names.
struct Kind {
    FileFormat format;
    const char* extension;
};
constexpr std::array<Kind, 3> kKinds = {
    {{FileFormat::PSNINT, ".psn"}, {FileFormat::SAC, ".sac"}, {FileFormat::miniSeed, ".msd"}}};

struct Recording {
    fs::path path;
    std::string station;
    SampleList samples;
};

// Each input written to its output in its format by one engine, whose work folder goes in
// `scratch`; a file the engine refuses is skipped.
using Job = std::tuple<fs::path, fs::path, FileFormat>;
void ConvertInProcess(const std::vector<Job>& jobs, const fs::path& scratch) {
    ClsConverter engine(nullptr, scratch);
    engine.SetVerbose(false);
    for (const auto& [input, output, format] : jobs) {
        if (engine.AddFile(input.string())) {
            engine.SetFileOutputFormat(engine.FilesCount() - 1, format);
            engine.SetFileOutputPath(engine.FilesCount() - 1, output.string());
        }
    }
    engine.StartConversion();
}

// `count` small recordings spread over nested folders under `root`, in turn PSN ASCII, SAC and
// miniSEED, which the engine makes from PSN text written in `scratch`.
std::vector<Recording> MakeArchive(const fs::path& root, int count, const fs::path& scratch) {
    std::vector<Recording> recordings;
    std::vector<Job> jobs;
    for (int number = 0; number < count; ++number) {
        const fs::path folder =
            root / ("station" + std::to_string(number % 5)) / ("day" + std::to_string(number % 7));
        fs::create_directories(folder);
        const Kind& kind = kKinds[static_cast<std::size_t>(number) % kKinds.size()];
        const std::string name = "rec" + std::to_string(number);
        Recording recording{folder / (name + kind.extension), "S" + std::to_string(number), {}};
        for (int k = 0; k < 40 + number % 17; ++k) {
            recording.samples.push_back((number * 131 + k * k * 7) % 20001 - 10000);
        }
        const fs::path source = scratch / (name + ".psn");
        WriteFile(source, PsnText({"Start Time: 2024/01/02 03:04:05.000",
                                   "Number of Samples: " + std::to_string(recording.samples.size()),
                                   "SPS: 100", "Station Code: " + recording.station},
                                  Texts(recording.samples)));
        jobs.emplace_back(source, recording.path, kind.format);
        recordings.push_back(recording);
    }
    ConvertInProcess(jobs, scratch);
    return recordings;
}

// Eight processes at once share one program folder and one output folder, each output in the
// format after its input's so that every reader and writer runs under load; then GNU parallel
// converts the tree in place with the line docs/archives.md gives. Each run succeeds silently,
// every output holds its recording (station and every sample, read back as PSN text), the
// folder written holds exactly what it should and the program folder holds nothing.
TEST(Archive, ManyProcessesAtOnceConvertATreeOfRecordings) {
    TempFolder folder;
    const fs::path program = PrivateProgramCopy(folder);
    const fs::path archive = folder / "archive";
    const std::vector<Recording> recordings = MakeArchive(archive, 30, folder.Path());
    const auto expectCleanRun = [&](const std::string& command,
                                    const std::vector<fs::path>& outputs, const fs::path& root,
                                    const std::vector<fs::path>& expected) {
        const ProcessResult run = RunShell(folder, command);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_TRUE(run.stderrText.empty()) << run.stderrText.substr(0, 2000);
        const fs::path scratch = folder / ("read-back-" + root.filename().string());
        fs::create_directory(scratch);
        std::vector<Job> jobs;
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            jobs.emplace_back(outputs[i], scratch / (std::to_string(i) + ".psn"),
                              FileFormat::PSNINT);
        }
        ConvertInProcess(jobs, scratch);
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            const fs::path back = std::get<1>(jobs[i]);
            const std::regex station("\nStation Code: " + recordings[i].station + " *\r\n");
            EXPECT_TRUE(std::regex_search(ReadFile(back), station)) << outputs[i];
            EXPECT_EQ(PsnSamples(back), recordings[i].samples) << outputs[i];
        }
        std::set<fs::path> files;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_directory()) {
                files.insert(entry.path());
            }
        }
        EXPECT_EQ(files, std::set<fs::path>(expected.begin(), expected.end()));
        EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
    };

    fs::create_directory(folder / "out");
    std::string commands;
    std::vector<fs::path> outputs;
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
    std::vector<fs::path> everyFile;
    outputs.clear();
    for (const Recording& recording : recordings) {
        outputs.push_back(fs::path(recording.path).replace_extension(".mseed"));
        everyFile.insert(everyFile.end(), {recording.path, outputs.back()});
    }
    expectCleanRun("export PATH=" + Quote(program.parent_path().string()) +
                       ":\"$PATH\"; find archive -type f ! -name '*.mseed' ! -name '.*' |"
                       " parallel vibrex \"CONVERT,{},{.}.mseed,miniSeed\"",
                   outputs, archive, everyFile);
}

} // namespace
} // namespace vibrex::test
