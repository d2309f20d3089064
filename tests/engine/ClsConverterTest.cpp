#include "engine/ClsConverter.h"

#include "engine/ErrorText.h"
#include "engine/HeaderProperties.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <tuple>

namespace vibrex::test {
namespace {

std::string PsnFile(const TempFolder& folder, const std::string& name, int samples) {
    const auto path = (folder / name).string();
    WriteFile(path, PsnText({"Start Time: 2015/03/01 12:30:45.250",
                             "Number of Samples: " + std::to_string(samples), "SPS: 100"},
                            std::vector<std::string>(static_cast<std::size_t>(samples), "-3")));
    return path;
}

class EngineTest : public ::testing::Test {
protected:
    TempFolder folder;
    RecordingHost host;
    ClsConverter engine{&host, folder.Path()};
};

// Each refusal names its cause and the file; a folder is refused silently, and a quiet engine
// shows nothing.
TEST_F(EngineTest, AddFileRefusalsAndTheirMessages) {
    const std::string corrupted = "File corrupted: unreadable samples count.";
    EXPECT_TRUE(engine.AddFile(PsnFile(folder, "good.psn", 3)));
    EXPECT_FALSE(engine.AddFile(folder.Path().string()));
    // A file's name, its text (none: it is not written), and the message's first line.
    using Case = std::tuple<std::string, std::string, std::string>;
    for (const auto& [name, text, message] :
         {Case{"missing.psn", "", "File does not exists."},
          {"text.txt", "just some text\n", "Unrecognized file format."},
          {"empty.psn", PsnText({"Number of Samples: 0"}, {}), corrupted},
          {"nocount.psn", PsnText({"SPS: 100"}, {"1"}), corrupted},
          {"huge.psn", PsnText({"Number of Samples: 1e300"}, {"1"}), corrupted},
          {"good.psn", "", "File already loaded."}}) {
        if (!text.empty()) {
            WriteFile(folder / name, text);
        }
        EXPECT_FALSE(engine.AddFile((folder / name).string()));
        EXPECT_EQ(host.messages.back(), message + "\r\n" + (folder / name).string());
    }
    EXPECT_EQ(host.titles, std::vector<std::string>(6, "File loading error"));
    // The same file spelled differently is another file.
    EXPECT_TRUE(engine.AddFile((folder / "." / "good.psn").string()));
    EXPECT_EQ(engine.FilesCount(), 2);
    engine.SetVerbose(false);
    EXPECT_FALSE(engine.AddFile((folder / "missing.psn").string()));
    EXPECT_EQ(host.messages.size(), 6u);
}

// A detected format whose header cannot be read reports through the load dispatcher.
TEST_F(EngineTest, HeaderLoadFailureText) {
    WriteFile(folder / "x.seg2", std::string("U:\x01\x00", 4) + std::string(100, '\0'));
    const std::string path = (folder / "x.seg2").string();
    EXPECT_FALSE(engine.AddFile(path));
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].rfind(
                  "Error loading file header.\r\nInput file: " + path + "\r\nAdditional info: ", 0),
              0u);
    // Only a build that names a support contact asks users to send the file.
    EXPECT_EQ(host.messages[0].find("\r\nPlease help us") != std::string::npos,
              std::string(SupportContact()).size() > 0);
    EXPECT_EQ(host.icons[0], MessageIcon::Exclamation);
}

TEST_F(EngineTest, SettersIgnoreBadValuesAndIndices) {
    ASSERT_TRUE(engine.AddFile(PsnFile(folder, "a.psn", 3)));
    engine.SetFileOutputFormat(0, FileFormat::SAC);
    engine.SetFileOutputFormat(0, FileFormat::Unknown);
    engine.SetFileOutputFormat(0, static_cast<FileFormat>(14));
    EXPECT_EQ(engine.FileOutputFormat(0), FileFormat::SAC);

    // WAV settings exist while the output is WAV, and are kept while it is something else.
    const auto wav = [&] {
        return std::tuple(engine.WAVFactor(0), engine.WAVBitCount(0), engine.WAVSamplingRate(0));
    };
    const auto setWav = [&] {
        engine.SetWAVFactor(0, 500);
        engine.SetWAVBitCount(0, 16);
        engine.SetWAVSamplingRate(0, 8000);
    };
    setWav();
    EXPECT_EQ(wav(), std::tuple(0, 0, 0));
    engine.SetFileOutputFormat(0, FileFormat::WAV);
    EXPECT_EQ(wav(), std::tuple(1, 32, 0));
    setWav();
    engine.SetFileOutputFormat(0, FileFormat::SAC);
    EXPECT_FALSE(engine.WAVAvailable(0));
    EXPECT_EQ(wav(), std::tuple(0, 0, 0));
    engine.SetFileOutputFormat(0, FileFormat::WAV);
    EXPECT_EQ(wav(), std::tuple(500, 16, 8000));

    for (int bad : {-1, 1}) {
        engine.RemoveFile(bad);
        EXPECT_EQ(engine.FilesCount(), 1);
        engine.SetFileOutputPath(bad, "x");
        EXPECT_EQ(engine.FilePath(bad), "");
        EXPECT_EQ(engine.FileFormat(bad), FileFormat::Unknown);
        EXPECT_EQ(engine.FileChannelsCount(bad), 0);
        EXPECT_EQ(engine.FileStatus(bad), ConversionStatus::Idle);
        EXPECT_FALSE(engine.WAVAvailable(bad));
        EXPECT_EQ(engine.GoodChannelCount(bad) + engine.GoodSamplesCount(bad), 0);
    }
    engine.RemoveFile(0);
    EXPECT_EQ(engine.FilesCount(), 0);
    EXPECT_EQ(engine.FilePath(0), "");
}

TEST_F(EngineTest, HeaderPropertiesEditAndFreshness) {
    ASSERT_TRUE(engine.AddFile(PsnFile(folder, "a.psn", 3)));
    EXPECT_EQ(engine.HeaderProperty(0, 0, kSps), "100");
    EXPECT_EQ(engine.HeaderProperty(0, 0, kNumberOfSamples), "3");
    engine.SetHeaderProperty(0, 0, kStationCode, "ABC");
    EXPECT_EQ(engine.HeaderProperty(0, 0, kStationCode), "ABC");
    EXPECT_FALSE(engine.HeaderPropertyFresh(0, 0, kStationCode));
    EXPECT_TRUE(engine.HeaderPropertyFresh(0, 0, kSps));
    for (auto [channel, property] : {std::pair{0, 32}, {0, -1}, {1, 0}, {-1, 0}}) {
        engine.SetHeaderProperty(0, channel, property, "x");
        EXPECT_EQ(engine.HeaderProperty(0, channel, property), "");
        EXPECT_FALSE(engine.HeaderPropertyFresh(0, channel, property));
    }
}

// One character a property, "1" where the output format carries it; none before a format is
// chosen, none past the last property.
TEST_F(EngineTest, AvailabilityFollowsTheOutputFormat) {
    ASSERT_TRUE(engine.AddFile(PsnFile(folder, "a.psn", 3)));
    for (const auto& [format, expected] : {std::pair{FileFormat::Unknown, std::string(32, '0')},
                                           {FileFormat::WAV, "0110001" + std::string(25, '0')},
                                           {FileFormat::Geonode, std::string(32, '0')},
                                           {FileFormat::PSNCM6, std::string(31, '1') + "0"},
                                           {FileFormat::SU, "111" + std::string(28, '0') + "1"}}) {
        engine.SetFileOutputFormat(0, format);
        std::string available;
        for (int property = 0; property <= kHeaderPropertiesCount; ++property) {
            available += engine.HeaderPropertyAvailable(0, property) ? '1' : '0';
        }
        EXPECT_EQ(available, expected + "0") << ClsConverter::FileFormatToString(format);
    }
    EXPECT_FALSE(engine.HeaderPropertyAvailable(1, kSps));
}

TEST_F(EngineTest, ChannelAndSampleLimits) {
    for (const char* name : {"a.psn", "b.psn", "c.psn"}) {
        ASSERT_TRUE(engine.AddFile(PsnFile(folder, name, 3)));
    }
    engine.SetFileOutputFormat(0, FileFormat::SAF);
    EXPECT_EQ(engine.MergeGoodChannelCount(), 0);
    EXPECT_EQ(engine.GoodChannelCount(0), 0);
    ASSERT_TRUE(engine.AddFile(PsnFile(folder, "d.psn", 40000)));
    EXPECT_EQ(engine.MergeGoodChannelCount(), 3);
    engine.SetFileOutputFormat(0, FileFormat::SEG2);
    EXPECT_EQ(engine.MergeGoodChannelCount(), 0);

    engine.SetFileOutputFormat(3, FileFormat::SU);
    EXPECT_EQ(engine.GoodSamplesCount(3), 32767);
    engine.SetFileOutputFormat(3, FileFormat::SAC);
    EXPECT_EQ(engine.GoodSamplesCount(3), 0);
}

// Several processes may share a program folder: an engine making its work folder removes those
// of killed ones, recognised by their name and by no live process holding them, and nothing
// else. Its own work folder, named like a GUID, lives as long as the engine.
TEST(EngineLifecycle, LeftoverWorkFoldersGoLiveOnesStay) {
    TempFolder folder;
    const std::string abandoned = "{" + std::string(32, 'A') + "}";
    std::filesystem::create_directory(folder / abandoned);
    WriteFile(folder / abandoned / "converter1.tmp", "1");
    const std::vector<std::string> kept = {"{" + std::string(32, 'a') + "}", "{not a guid}",
                                           "notes"};
    for (const auto& name : kept) {
        std::filesystem::create_directory(folder / name);
    }
    std::filesystem::path work;
    {
        ClsConverter first(nullptr, folder.Path());
        EXPECT_TRUE(std::filesystem::exists(folder / abandoned)); // nothing done until needed
        work = first.WorkFolder();
        EXPECT_FALSE(std::filesystem::exists(folder / abandoned));
        ClsConverter second(nullptr, folder.Path());
        EXPECT_TRUE(std::filesystem::is_directory(work));
        EXPECT_TRUE(std::filesystem::is_directory(second.WorkFolder()));
        EXPECT_NE(work, second.WorkFolder());
        const std::string name = work.filename().string();
        ASSERT_EQ(name.size(), 34u);
        EXPECT_EQ(name.front(), '{');
        EXPECT_EQ(name.back(), '}');
        EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF", 1), 33u);
    }
    EXPECT_FALSE(std::filesystem::exists(work));
    for (const auto& name : kept) {
        EXPECT_TRUE(std::filesystem::is_directory(folder / name)) << name;
    }
}

// Names are matched whatever their case, aliases included, but only whole names.
TEST(EngineCatalogue, FormatNamesAndExtensions) {
    EXPECT_EQ(ClsConverter::StringToFileFormat("PSNTEXTASCII"), FileFormat::PSNINT);
    EXPECT_EQ(ClsConverter::StringToFileFormat("psntextcm6"), FileFormat::PSNCM6);
    EXPECT_EQ(ClsConverter::StringToFileFormat("wav (audio)"), FileFormat::WAV);
    EXPECT_EQ(ClsConverter::StringToFileFormat("WAV"), FileFormat::Unknown);
    EXPECT_EQ(ClsConverter::StringToFileFormat(""), FileFormat::Unknown);
    EXPECT_EQ(ClsConverter::FileFormatToString(static_cast<FileFormat>(14)), "Unknown");
    EXPECT_EQ(ClsConverter::GetFileFormatExtensions(FileFormat::miniSeed),
              (std::vector<std::string>{".mseed", ".dat"}));
    EXPECT_TRUE(ClsConverter::GetFileFormatExtensions(FileFormat::Unknown).empty());
    EXPECT_TRUE(ClsConverter::IsMultichannelFormat(static_cast<FileFormat>(99)));
    EXPECT_FALSE(ClsConverter::IsMultichannelFormat(FileFormat::Unknown));
    EXPECT_EQ(HeaderPropertyLabel(-1), "");
    EXPECT_EQ(HeaderPropertyLabel(kHeaderPropertiesCount), "");
}

} // namespace
} // namespace vibrex::test
