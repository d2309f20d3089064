#pragma once

#include "engine/Codec.h"
#include "engine/ConverterHost.h"
#include "engine/FormatCatalogue.h"
#include "engine/HeaderProperties.h"
#include "io/OwnedFolder.h"
#include "io/ProgramFolders.h"
#include "io/StagedOutput.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vibrex {

class ChannelFeed;

enum class ConversionStatus : std::int32_t {
    InProgress = -2,
    Idle = -1,
    Success = 0,
    Aborted = 1,
    FileMissing = 2,
    Failed = 3,
};

// The engine: the file list with each file's settings, header and status, and the run that
// converts them. Public members never throw; bad indices give defaults or do nothing.
class ClsConverter {
public:
    // `host` receives events, yields and messages; it must outlive the engine. The work folder
    // is created under `workFolderParent` when first needed, after removing those that processes
    // killed before they could remove their own left there.
    explicit ClsConverter(
        ConverterHost* host = nullptr,
        const std::filesystem::path& workFolderParent = LocateProgramFolders().workFolderParent);
    ~ClsConverter();
    ClsConverter(const ClsConverter&) = delete;
    ClsConverter& operator=(const ClsConverter&) = delete;

    // Catalogue and constants.
    int FormatsCount() const { return kFormatsCount; }
    int HeaderPropertiesCount() const { return kHeaderPropertiesCount; }
    static std::string AutomaticNameFormat() { return "YYYY-MM-DD_HH-MM-SS_STATION_COMPONENT"; }
    static std::string FileFormatToString(vibrex::FileFormat format);
    static vibrex::FileFormat StringToFileFormat(std::string_view name);
    static std::vector<std::string> GetFileFormatExtensions(vibrex::FileFormat format);
    static bool IsMultichannelFormat(vibrex::FileFormat format);
    static vibrex::FileFormat GuessFileFormat(const std::filesystem::path& path);
    static std::string HeaderPropertyToString(int property);
    static std::string ConversionStatusToString(ConversionStatus status);
    // 0x00BBGGRR
    static std::uint32_t ConversionStatusToColor(ConversionStatus status);

    // The file list.
    bool AddFile(const std::string& path);
    // Why the last AddFile refused its file (the text a Verbose engine shows); empty after one
    // that added it.
    const std::string& AddFileRefusal() const { return m_refusal; }
    void RemoveFile(int index);
    int FilesCount() const;
    std::string FilePath(int index) const;
    vibrex::FileFormat FileFormat(int index) const;
    int FileChannelsCount(int index) const;
    vibrex::FileFormat FileOutputFormat(int index) const;
    void SetFileOutputFormat(int index, vibrex::FileFormat format);
    std::string FileOutputPath(int index) const;
    void SetFileOutputPath(int index, const std::string& path);
    bool FileAutoNaming(int index) const;
    void SetFileAutoNaming(int index, bool autoNaming);
    ConversionStatus FileStatus(int index) const;
    int FileProgress(int index) const;
    // Why the file's last conversion failed (the text a Verbose engine shows); empty otherwise.
    std::string FileErrorText(int index) const;
    // The files the file's last conversion wrote, when it succeeded; empty otherwise.
    std::vector<std::string> FileOutputFiles(int index) const;
    // Why the file on disk no longer matches the header loaded when it was added (its size or
    // modification time changed); empty while it matches.
    std::string FileChangeText(int index) const;

    // WAV settings, kept only while the file's output format is WAV.
    bool WAVAvailable(int index) const;
    std::int32_t WAVFactor(int index) const;
    void SetWAVFactor(int index, std::int32_t factor);
    std::int32_t WAVBitCount(int index) const;
    void SetWAVBitCount(int index, std::int32_t bitCount);
    std::int32_t WAVSamplingRate(int index) const;
    void SetWAVSamplingRate(int index, std::int32_t samplingRate);

    // Header properties per file and channel.
    std::string HeaderProperty(int index, int channel, int property) const;
    void SetHeaderProperty(int index, int channel, int property, const std::string& value);
    bool HeaderPropertyAvailable(int index, int property) const;
    bool HeaderPropertyFresh(int index, int channel, int property) const;

    // Limits of the output formats, checked by the caller before a run.
    std::int32_t MergeGoodChannelCount() const;
    std::int32_t GoodChannelCount(int index) const;
    std::int32_t GoodSamplesCount(int index) const;
    // Why the file's output format cannot take it (its channel count, a channel's samples or
    // sampling rate), in one sentence naming the limit; empty when it can. Known from the header
    // alone, so a run never finds it after reading the whole input.
    std::string FileLimitProblem(int index) const;
    // The same for a merge of every file into the first file's output format.
    std::string MergeLimitProblem() const;

    // Run settings and the run.
    std::string MergeFilePath() const;
    void SetMergeFilePath(const std::string& path);
    void SetDataInversion(bool inversion);
    void SetVerbose(bool verbose);
    bool ShowUI() const;
    void SetShowUI(bool showUI);
    void StartConversion();
    void Abort();

    // Where this engine's intermediate channel files live; created at the first call, so that
    // an engine that only reads headers (INFO, a refused file) touches no folder.
    const std::filesystem::path& WorkFolder() const;

private:
    friend class ConversionContext;
    friend class ReaderContext;
    friend class WriterContext;
    friend class FeedingReaderContext;

    struct HeaderCell {
        std::string value;
        std::int32_t edited = 0;
    };
    using ChannelHeader = std::array<HeaderCell, kHeaderPropertiesCount>;

    // What the file was when its header was loaded: a run refuses a file that changed since.
    struct FileStamp {
        std::uintmax_t size = 0;
        std::filesystem::file_time_type modified;
        bool operator==(const FileStamp&) const = default;
    };

    struct FileRecord {
        std::string path;
        FileStamp stamp;
        vibrex::FileFormat format = vibrex::FileFormat::Unknown;
        std::vector<ChannelHeader> header;
        vibrex::FileFormat outputFormat = vibrex::FileFormat::Unknown;
        std::string outputPath;
        bool autoNaming = false;
        WavSettings wav;
        ConversionStatus status = ConversionStatus::Idle;
        std::string errorText;
        std::vector<std::filesystem::path> outputFiles;
        std::int32_t progress = 0;
        std::int64_t workTotal = 0;
        std::int64_t workDone = 0;
        std::int64_t progressStep = 1;
    };

    bool IsValidIndex(int index) const;
    std::string LimitProblem(const std::vector<const FileRecord*>& files) const;
    const FileRecord* Record(int index) const;
    FileRecord* Record(int index);
    void Report(const std::string& text) const;
    // Keeps `text` as the refusal of the file being added, and shows it when Verbose is set.
    void Refuse(const std::string& text, const char* title);
    bool LoadFileHeader(FileRecord& record);
    static FileStamp StampOf(const std::string& path);

    // The run.
    void RunSeparate();
    void RunMerge();
    std::string ConvertFile(int index);
    std::optional<std::string> ConvertOverlapped(int index);
    std::string ConvertToIntermediate(int index, int firstChannelNumber);
    std::string RunReader(ReaderContext& context, int index);
    std::string ConvertFromIntermediate(int index, int channelCount);
    std::string RunWriter(int index, int channelCount);
    std::string EndWriting(std::string error);
    // The writer's side of a reader running beside it (m_feed).
    LineReader OpenIntermediate(int index, int channelNumber);
    bool AwaitGrowth(int index, int channel, std::uint64_t& seen);
    template <typename Ready> void AwaitReader(int index, Ready ready);
    void AwaitChange(int index, std::uint64_t seen);
    void DeleteIntermediateFiles() const;
    void PlaceCreatedOutputs();
    void DiscardCreatedOutputs();
    bool IsInput(const std::filesystem::path& path) const;
    std::filesystem::path IntermediatePath(int channelNumber) const;
    void StartFile(FileRecord& record);
    bool FailIfChanged(int index);
    static void MarkSucceeded(FileRecord& record);
    void SetAllStatuses(ConversionStatus status);
    bool ProgressStep(int index);
    void RaiseFileStatusChange();
    void RaiseConversionProgress();
    void DoEvents();

    ConverterHost m_silentHost;
    ConverterHost* m_host;
    std::filesystem::path m_workFolderParent;
    mutable std::optional<OwnedFolder> m_workFolder;
    std::vector<FileRecord> m_files;
    std::string m_mergeFilePath;
    std::vector<StagedOutput> m_createdOutputs;         // by the writer now running
    std::vector<std::filesystem::path> m_placedOutputs; // by the last writer that completed
    bool m_dataInversion = false;
    bool m_showUI = false;
    bool m_verbose = true;
    std::string m_refusal;
    bool m_running = false;
    std::atomic<bool> m_abortRequested = false; // a reader on its own thread reads it too
    ChannelFeed* m_feed = nullptr;              // while a reader runs beside the writer
};

} // namespace vibrex
