#include "engine/ChannelFile.h"
#include "engine/ClsConverter.h"
#include "engine/ErrorText.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace vibrex::test {
namespace {

class RunTest : public ::testing::Test {
protected:
    std::string AddPsn(const std::string& name, int samples, const std::string& station = "STA") {
        std::vector<std::string> values;
        for (int i = 0; i < samples; ++i) {
            values.push_back(std::to_string(i - samples / 2));
        }
        const auto path = (folder / name).string();
        WriteFile(path, PsnText({"Start Time: 2015/03/01 12:30:45.250",
                                 "Number of Samples: " + std::to_string(samples), "SPS: 100",
                                 "Station Code: " + station, "Component Name: HHZ"},
                                values));
        EXPECT_TRUE(engine.AddFile(path));
        const int index = engine.FilesCount() - 1;
        engine.SetFileOutputFormat(index, FileFormat::PSNINT);
        engine.SetFileOutputPath(index, (folder / ("out-" + name)).string());
        return path;
    }

    bool WorkFolderIsEmpty() const { return std::filesystem::is_empty(engine.WorkFolder()); }

    TempFolder folder;
    RecordingHost host;
    ClsConverter engine{&host, folder.Path()};
};

// A missing file is skipped in separate mode; in a merge it stops the run before any output,
// the other files back to idle, and nothing is said.
TEST_F(RunTest, AMissingFileIsSkippedAloneOrStopsTheMerge) {
    AddPsn("a.psn", 30);
    const auto b = AddPsn("b.psn", 40);
    AddPsn("c.psn", 50);
    std::filesystem::remove(b);
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Success);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::FileMissing);
    EXPECT_EQ(engine.FileStatus(2), ConversionStatus::Success);
    EXPECT_EQ(engine.FileProgress(0), 100);
    EXPECT_FALSE(std::filesystem::exists(folder / "out-b.psn"));
    EXPECT_EQ(engine.FileOutputFiles(2), std::vector{(folder / "out-c.psn").string()});
    EXPECT_TRUE(engine.FileOutputFiles(1).empty());
    EXPECT_TRUE(host.windowMaximums.empty()); // ShowUI is off

    engine.SetMergeFilePath((folder / "all.psn").string());
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Idle);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::FileMissing);
    EXPECT_EQ(engine.FileStatus(2), ConversionStatus::Idle);
    EXPECT_FALSE(std::filesystem::exists(folder / "all1.psn"));
    EXPECT_TRUE(WorkFolderIsEmpty());
    EXPECT_TRUE(host.messages.empty());
}

// Work total = 2 x samples, step = 1% of it but at least a sample: a 1000-sample file reports
// 1, 2, ... 100 percent. The window gets each step, then the final value, and closes after each
// file.
TEST_F(RunTest, ProgressStepsThroughBothStages) {
    AddPsn("a.psn", 1000);
    AddPsn("b.psn", 30);
    AddPsn("c.psn", 250);
    engine.SetShowUI(true);
    std::vector<int> seen;
    host.onDoEvents = [&] {
        if (engine.FileStatus(1) == ConversionStatus::Idle) {
            seen.push_back(engine.FileProgress(0));
        }
    };
    engine.StartConversion();
    ASSERT_EQ(host.windowMaximums, (std::vector<std::int64_t>{2000, 60, 500}));
    std::vector<int> expected = {0};
    for (int percent = 1; percent <= 100; ++percent) {
        expected.push_back(percent);
    }
    EXPECT_EQ(seen, expected);
    ASSERT_EQ(host.windowValues.size(), (100 + 1) + (60 + 1) + (100 + 1));
    EXPECT_EQ(host.windowValues[0], 20);
    EXPECT_EQ(host.windowValues[100], 2000);
    EXPECT_EQ(host.windowCloses, 3);
}

TEST_F(RunTest, AbortDuringTheSecondFileStopsTheRun) {
    AddPsn("a.psn", 300);
    AddPsn("b.psn", 300);
    AddPsn("c.psn", 300);
    host.onDoEvents = [&] {
        if (engine.FileStatus(1) == ConversionStatus::InProgress && engine.FileProgress(1) >= 20) {
            engine.Abort();
        }
    };
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Success);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Aborted);
    EXPECT_EQ(engine.FileStatus(2), ConversionStatus::Idle);
    EXPECT_TRUE(WorkFolderIsEmpty());
    engine.Abort(); // outside a run: nothing to stop, and the next run starts afresh
    host.onDoEvents = nullptr;
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(2), ConversionStatus::Success);
}

TEST_F(RunTest, MergeNumbersChannelsAcrossFiles) {
    AddPsn("a.psn", 30, "AAA");
    AddPsn("b.psn", 40, "BBB");
    engine.SetMergeFilePath((folder / "all.psn").string());
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Success);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Success);
    // Every merged file names the outputs it went into, a channel each.
    EXPECT_EQ(ReadLines(folder / "all2.psn").size(), 36u + 40u);
    const std::vector outputs{(folder / "all1.psn").string(), (folder / "all2.psn").string()};
    EXPECT_EQ(engine.FileOutputFiles(0), outputs);
    EXPECT_EQ(engine.FileOutputFiles(1), outputs);
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// A file grown, cut or rewritten in place since it was added would convert against a header
// that no longer describes it: it fails saying so, alone in separate mode, the whole merge
// otherwise, and leaves no output.
TEST_F(RunTest, AFileChangedSinceItWasAddedFailsSayingSo) {
    const std::function<void(const std::string&)> changes[] = {
        [](const std::string& path) { WriteFile(path, ReadFile(path) + "7\r\n"); },
        [](const std::string& path) { std::filesystem::resize_file(path, 100); },
        [](const std::string& path) {
            std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) +
                                                       std::chrono::seconds(1));
        },
    };
    const std::string changed = "The file changed since it was added";
    for (const auto& change : changes) {
        while (engine.FilesCount() > 0) {
            engine.RemoveFile(0);
        }
        const auto a = AddPsn("a.psn", 30);
        AddPsn("b.psn", 30);
        change(a);
        engine.StartConversion();
        EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed);
        EXPECT_NE(engine.FileErrorText(0).find(changed), std::string::npos);
        EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Success);
        EXPECT_FALSE(std::filesystem::exists(folder / "out-a.psn"));

        engine.SetMergeFilePath((folder / "all.psn").string());
        engine.StartConversion();
        engine.SetMergeFilePath("");
        EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed);
        EXPECT_NE(engine.FileErrorText(0).find(changed), std::string::npos);
        EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Idle);
        EXPECT_FALSE(std::filesystem::exists(folder / "all1.psn"));
    }
}

TEST_F(RunTest, WriterFailureInAMergeFailsEveryFile) {
    AddPsn("a.psn", 30);
    AddPsn("b.psn", 30);
    const auto merged = folder / "no-such-folder" / "all.psn";
    engine.SetMergeFilePath(merged.string());
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Failed);
    ASSERT_EQ(host.messages.size(), 1u);
    const auto target = folder / "no-such-folder" / "all1.psn";
    EXPECT_EQ(host.messages[0],
              AppendSupportRequest("Error while converting intermediate files to output\r\n"
                                   "\r\nAdditional info: Can't open an output file:" +
                                   target.string() + " (No such file or directory)"));
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// A long recording's writer reads its channel file while the reader, on a thread of its own,
// still grows it. The outcome is a sequential run's: the same output, the reader's failure before
// the writer's, an abort before either, progress rising to 100 in at most one report a step,
// and every host call on the thread that started the run.
TEST_F(RunTest, ALongRecordingConvertsWhileItIsRead) {
    constexpr int kSamples = (1 << 21) + 1; // just long enough to be read on a thread of its own
    struct Case {
        std::string name;
        std::string lastSample;
        FileFormat output;
        bool abort;
        ConversionStatus status;
        std::string errorStart;
    };
    const std::string readerStage = "Error while converting input to intermediate files";
    const std::vector<Case> cases = {
        {"converted", "-1", FileFormat::PSNINT, false, ConversionStatus::Success, ""},
        {"aborted", "-1", FileFormat::PSNINT, true, ConversionStatus::Aborted, ""},
        {"reader fails", "oops", FileFormat::PSNINT, false, ConversionStatus::Failed, readerStage},
        // The writer fails at once (miniSEED needs the rate, which is left out), the reader only
        // at the end: the reader's error is the file's.
        {"both fail", "oops", FileFormat::miniSeed, false, ConversionStatus::Failed, readerStage},
        // The writer fails at once, and the user aborts while the reader still reads.
        {"writer fails, then aborted", "-1", FileFormat::miniSeed, true, ConversionStatus::Aborted,
         ""},
    };
    std::vector<std::string> values;
    for (int i = 0; i < kSamples; ++i) {
        values.push_back(std::to_string(i % 2000 - 1000));
    }
    for (const Case& c : cases) {
        values.back() = c.lastSample;
        const auto input = folder / (c.name + ".psn");
        WriteFile(input, PsnText({"Number of Samples: " + std::to_string(kSamples)}, values));
        ClsConverter run(&host, folder.Path());
        ASSERT_TRUE(run.AddFile(input.string()));
        run.SetVerbose(false);
        run.SetDataInversion(c.lastSample == "oops"); // so that the reader reads each sample
        run.SetFileOutputFormat(0, c.output);
        run.SetFileOutputPath(0, (folder / (c.name + ".out")).string());
        std::vector<int> seen;
        bool otherThread = false;
        int yieldsAfterAbort = 0;
        const auto runThread = std::this_thread::get_id();
        host.onDoEvents = [&] {
            otherThread |= std::this_thread::get_id() != runThread;
            seen.push_back(run.FileProgress(0));
            if (c.abort && seen.back() >= 30 && yieldsAfterAbort++ == 0) {
                run.Abort();
            }
        };
        run.StartConversion();
        if (c.abort && yieldsAfterAbort == 0) {
            // The reader finished before the run yielded again: there was nothing to abort.
            EXPECT_EQ(run.FileStatus(0), ConversionStatus::Failed) << c.name;
            continue;
        }
        EXPECT_EQ(run.FileStatus(0), c.status) << c.name;
        EXPECT_EQ(run.FileErrorText(0).rfind(c.errorStart, 0), 0u) << run.FileErrorText(0);
        EXPECT_FALSE(otherThread) << c.name;
        EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end())) << c.name;
        EXPECT_TRUE(std::filesystem::is_empty(run.WorkFolder())) << c.name;
        EXPECT_LE(yieldsAfterAbort, 4) << c.name << ": both stages stop at their next step";
        if (c.status != ConversionStatus::Success) {
            EXPECT_FALSE(std::filesystem::exists(folder / (c.name + ".out"))) << c.name;
            continue;
        }
        // The writer's 50 steps, and the reader's as far as they were not taken together.
        EXPECT_GE(seen.size(), 50u);
        EXPECT_LE(seen.size(), 101u);
        EXPECT_EQ(run.FileProgress(0), 100);
        const auto lines = ReadLines(folder / (c.name + ".out"));
        ASSERT_EQ(lines.size(), 36u + kSamples);
        EXPECT_EQ(std::vector(lines.begin() + 36, lines.end()), values);
    }
    host.onDoEvents = nullptr;
}

// Outputs appear only when the whole writer has succeeded: an aborted or failed run leaves what
// stood at every output path as it was, even the channels it had finished. Separate mode writes
// through the same staging, so this covers its partial outputs too.
TEST_F(RunTest, FailedOrAbortedRunsLeaveExistingOutputsAsTheyWere) {
    struct Case {
        std::string name;
        std::function<void()> spoil; // run inside each yield of the run
        ConversionStatus status;
    };
    const std::vector<Case> cases = {
        {"aborted",
         [&] {
             if (engine.FileProgress(1) >= 75) {
                 engine.Abort();
             }
         },
         ConversionStatus::Aborted},
        {"failed",
         [&] {
             if (engine.FileProgress(0) >= 75) {
                 std::filesystem::remove(engine.WorkFolder() / "converter2.tmp");
             }
         },
         ConversionStatus::Failed},
    };
    AddPsn("a.psn", 300);
    AddPsn("b.psn", 300);
    engine.SetMergeFilePath((folder / "all.psn").string());
    static_cast<void>(engine.WorkFolder()); // made at first use, in the folder counted below
    for (const Case& c : cases) {
        WriteFile(folder / "all1.psn", "first, kept");
        WriteFile(folder / "all2.psn", "second, kept");
        const auto before = std::distance(std::filesystem::directory_iterator(folder.Path()),
                                          std::filesystem::directory_iterator());
        host.onDoEvents = c.spoil;
        engine.StartConversion();
        EXPECT_EQ(engine.FileStatus(0), c.status) << c.name;
        EXPECT_EQ(engine.FileStatus(1), c.status) << c.name << ": a merge marks every file";
        EXPECT_TRUE(WorkFolderIsEmpty()) << c.name;
        EXPECT_EQ(ReadFile(folder / "all1.psn"), "first, kept") << c.name;
        EXPECT_EQ(ReadFile(folder / "all2.psn"), "second, kept") << c.name;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()),
                                std::filesystem::directory_iterator()),
                  before)
            << c.name << ": a temporary file stayed behind";
    }
    host.onDoEvents = nullptr;
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Success);
    EXPECT_EQ(ReadLines(folder / "all1.psn").size(), 36u + 300u);
}

// Inputs are never modified: an output that names an input, directly or through a link, fails.
TEST_F(RunTest, AnOutputThatIsAnInputFailsAndKeepsTheInput) {
    const auto input = AddPsn("a.psn", 30);
    std::filesystem::create_symlink(input, folder / "link.psn");
    const std::string before = ReadFile(input);
    for (const auto& output : {input, (folder / "link.psn").string()}) {
        engine.SetFileOutputPath(0, output);
        engine.StartConversion();
        EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed) << output;
        EXPECT_NE(engine.FileErrorText(0).find("The output file is one of the inputs"),
                  std::string::npos);
        EXPECT_EQ(ReadFile(input), before);
    }
}

TEST_F(RunTest, ReaderFailureFailsOnlyThatFile) {
    WriteFile(folder / "bad.psn", PsnText({"Number of Samples: 2"}, {"1", "oops"}));
    ASSERT_TRUE(engine.AddFile((folder / "bad.psn").string()));
    engine.SetFileOutputFormat(0, FileFormat::PSNINT);
    engine.SetFileOutputPath(0, (folder / "bad-out.psn").string());
    AddPsn("good.psn", 30);
    engine.SetDataInversion(true);
    engine.StartConversion();
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed);
    EXPECT_EQ(engine.FileStatus(1), ConversionStatus::Success);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(engine.FileErrorText(0), host.messages[0]);
    EXPECT_EQ(engine.FileErrorText(1), "");
    EXPECT_TRUE(engine.FileOutputFiles(0).empty());
    EXPECT_EQ(host.messages[0].rfind("Error while converting input to intermediate files\r\n"
                                     "\r\nAdditional info: Not a sample",
                                     0),
              0u);
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// The name is the start time to the second, station and component: the system's own time, the
// month-first default that loaders without a date write, or else the text as it stands, and no
// header value ever makes it a path into another folder.
TEST_F(RunTest, AutomaticNamesComeFromTheHeader) {
    const std::pair<std::string, std::string> cases[] = {
        {"2015/03/01 12:30:45.250", "2015-03-01_12-30-45_VBRX_HHZ.psn"},
        {"01/02/1980 03:04:05", "1980-01-02_03-04-05_VBRX_HHZ.psn"},
        {"01/02/1980 03:04:05.5", "1980-01-02_03-04-05_VBRX_HHZ.psn"},
        {"soon.5", "soon_VBRX_HHZ.psn"},
    };
    for (const auto& [startTime, name] : cases) {
        AddPsn("a.psn", 30, "VBRX");
        engine.SetHeaderProperty(0, 0, kStartTime, startTime);
        engine.SetFileAutoNaming(0, true);
        engine.SetFileOutputPath(0, (folder / "ignored-name.psn").string());
        engine.StartConversion();
        EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Success) << startTime;
        EXPECT_EQ(engine.FileOutputFiles(0), std::vector{(folder / name).string()}) << startTime;
        engine.RemoveFile(0);
    }
    AddPsn("b.psn", 30, "../A/B");
    engine.SetFileAutoNaming(0, true);
    engine.StartConversion();
    EXPECT_TRUE(std::filesystem::exists(folder / "2015-03-01_12-30-45_..-A-B_HHZ.psn"));
}

// Header lines are read whatever the case of their key and the blanks after its colon, under a
// key's shown name too, and with LF line ends; the block ends at the data line.
TEST(ChannelFile, HeaderKeysAreReadLoosely) {
    TempFolder folder;
    WriteFile(folder / "d.psn", "Sensor Station Code: XYZ\nsps:50\ndata:\n");
    LineReader lines(folder / "d.psn");
    HeaderValues read;
    EXPECT_TRUE(ReadHeaderBlock(lines, read));
    EXPECT_EQ(read[kStationCode], "XYZ");
    EXPECT_EQ(read[kSps], "50");
    WriteFile(folder / "e.psn", "SPS: 20\r\n4\r\n"); // no data line: no samples follow
    LineReader noData(folder / "e.psn");
    EXPECT_FALSE(ReadHeaderBlock(noData, read));
}

} // namespace
} // namespace vibrex::test
