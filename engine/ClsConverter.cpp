#include "engine/ClsConverter.h"

#include "engine/ErrorText.h"
#include "io/Numbers.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <random>
#include <unistd.h>

namespace vibrex {

namespace {

constexpr const char* kFileLoadingErrorTitle = "File loading error";

// "{" + 32 upper-case hexadecimal digits of 128 random bits + "}".
std::string NewWorkFolderName() {
    std::random_device random;
    std::string name = "{";
    char digits[9];
    for (int word = 0; word < 4; ++word) {
        std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(random()));
        name += digits;
    }
    return name + "}";
}

bool IsWorkFolderName(const std::string& name) {
    return name.size() == 34 && name.front() == '{' && name.back() == '}' &&
           std::all_of(name.begin() + 1, name.end() - 1, [](char c) {
               return std::isdigit(static_cast<unsigned char>(c)) || (c >= 'A' && c <= 'F');
           });
}

// A fresh work folder's path, once the folders of killed engines are gone.
std::filesystem::path NewWorkFolder(const std::filesystem::path& programFolder) {
    RemoveAbandonedFolders(programFolder, IsWorkFolderName);
    return programFolder / NewWorkFolderName();
}

bool IsWritableFolder(const std::filesystem::path& folder) {
    return access(folder.c_str(), W_OK) == 0;
}

} // namespace

std::filesystem::path ProgramFolder() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error && IsWritableFolder(executable.parent_path())) {
        return executable.parent_path();
    }
    const char* home = std::getenv("HOME");
    auto folder = std::filesystem::path(home != nullptr ? home : "/tmp") / ".local/share/Vibrex";
    std::filesystem::create_directories(folder, error);
    return folder;
}

ClsConverter::ClsConverter(ConverterHost* host, const std::filesystem::path& programFolder)
    : m_host(host != nullptr ? host : &m_silentHost), m_programFolder(programFolder) {
    m_host->SetEngine(this);
}

const std::filesystem::path& ClsConverter::WorkFolder() const {
    if (!m_workFolder) {
        m_workFolder.emplace(NewWorkFolder(m_programFolder));
    }
    return m_workFolder->Path();
}

ClsConverter::~ClsConverter() {
    m_host->SetEngine(nullptr);
}

std::string ClsConverter::FileFormatToString(vibrex::FileFormat format) {
    return vibrex::FileFormatToString(format);
}

vibrex::FileFormat ClsConverter::StringToFileFormat(std::string_view name) {
    return vibrex::StringToFileFormat(name);
}

std::vector<std::string> ClsConverter::GetFileFormatExtensions(vibrex::FileFormat format) {
    return vibrex::GetFileFormatExtensions(format);
}

bool ClsConverter::IsMultichannelFormat(vibrex::FileFormat format) {
    return vibrex::IsMultichannelFormat(format);
}

vibrex::FileFormat ClsConverter::GuessFileFormat(const std::filesystem::path& path) {
    return vibrex::GuessFileFormat(path);
}

std::string ClsConverter::HeaderPropertyToString(int property) {
    return std::string(HeaderPropertyDisplayName(property));
}

std::string ClsConverter::ConversionStatusToString(ConversionStatus status) {
    switch (status) {
    case ConversionStatus::InProgress:
        return "In progress";
    case ConversionStatus::Idle:
        return "Idle";
    case ConversionStatus::Success:
        return "Success";
    case ConversionStatus::Aborted:
        return "Aborted";
    case ConversionStatus::FileMissing:
        return "File missing";
    case ConversionStatus::Failed:
        return "Failed";
    }
    return "Unknown";
}

std::uint32_t ClsConverter::ConversionStatusToColor(ConversionStatus status) {
    switch (status) {
    case ConversionStatus::Success:
        return 0x00FF00;
    case ConversionStatus::Aborted:
        return 0x00FFFF;
    case ConversionStatus::FileMissing:
    case ConversionStatus::Failed:
        return 0x0000FF;
    default:
        return 0xFFFFFF;
    }
}

bool ClsConverter::IsValidIndex(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < m_files.size();
}

const ClsConverter::FileRecord* ClsConverter::Record(int index) const {
    return IsValidIndex(index) ? &m_files[static_cast<std::size_t>(index)] : nullptr;
}

ClsConverter::FileRecord* ClsConverter::Record(int index) {
    return IsValidIndex(index) ? &m_files[static_cast<std::size_t>(index)] : nullptr;
}

void ClsConverter::Report(const std::string& text) const {
    if (m_verbose) {
        m_host->ShowMessage(text, MessageIcon::Exclamation, kApplicationTitle);
    }
}

namespace {

// Work total: twice the samples of all channels (each sample is read once and written once).
// A count beyond any real recording counts as unreadable (0), like a missing one.
std::int64_t WorkTotalOf(const std::vector<HeaderValues>& header) {
    constexpr double kMaxSamples = 1e15;
    double total = 0;
    for (const auto& channel : header) {
        total = RoundHalfEven(total + LeadingNumber(channel[kNumberOfSamples]));
    }
    return total > 0 && total <= kMaxSamples ? static_cast<std::int64_t>(total) * 2 : 0;
}

} // namespace

bool ClsConverter::AddFile(const std::string& path) {
    try {
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error)) {
            if (m_verbose && !std::filesystem::is_directory(path, error)) {
                m_host->ShowMessage("File does not exists.\r\n" + path, MessageIcon::Exclamation,
                                    kFileLoadingErrorTitle);
            }
            return false;
        }
        for (const FileRecord& record : m_files) {
            if (record.path == path) {
                if (m_verbose) {
                    m_host->ShowMessage("File already loaded.\r\n" + path, MessageIcon::Exclamation,
                                        kFileLoadingErrorTitle);
                }
                return false;
            }
        }
        FileRecord record;
        record.path = path;
        record.format = vibrex::GuessFileFormat(path);
        if (record.format == vibrex::FileFormat::Unknown) {
            if (m_verbose) {
                m_host->ShowMessage("Unrecognized file format.\r\n" + path,
                                    MessageIcon::Exclamation, kFileLoadingErrorTitle);
            }
            return false;
        }
        if (!LoadFileHeader(record)) {
            return false;
        }
        if (record.workTotal <= 0) {
            if (m_verbose) {
                m_host->ShowMessage("File corrupted: unreadable samples count.\r\n" + path,
                                    MessageIcon::Exclamation, kFileLoadingErrorTitle);
            }
            return false;
        }
        m_files.push_back(std::move(record));
        return true;
    } catch (const std::exception&) {
        return false; // out of memory while building the record: the list stays as it was
    }
}

bool ClsConverter::LoadFileHeader(FileRecord& record) {
    try {
        const auto values = ReaderOf(record.format).loadHeader(record.path);
        if (values.empty()) {
            throw std::runtime_error("The file holds no channel.");
        }
        record.header.resize(values.size());
        for (std::size_t channel = 0; channel < values.size(); ++channel) {
            for (int property = 0; property < kHeaderPropertiesCount; ++property) {
                record.header[channel][property] = {values[channel][property], 0};
            }
        }
        record.workTotal = WorkTotalOf(values);
        record.progressStep =
            static_cast<std::int64_t>(RoundHalfEven(static_cast<double>(record.workTotal) * 0.01));
        if (record.progressStep <= 0) {
            record.progressStep = 1;
        }
        return true;
    } catch (const std::exception& error) {
        Report(HeaderLoadErrorText(record.path, error.what()));
        return false;
    }
}

void ClsConverter::RemoveFile(int index) {
    if (IsValidIndex(index)) {
        m_files.erase(m_files.begin() + index);
        if (m_files.empty()) {
            m_files.shrink_to_fit();
        }
    }
}

int ClsConverter::FilesCount() const {
    return static_cast<int>(m_files.size());
}

std::string ClsConverter::FilePath(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->path : std::string();
}

vibrex::FileFormat ClsConverter::FileFormat(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->format : vibrex::FileFormat::Unknown;
}

int ClsConverter::FileChannelsCount(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? static_cast<int>(record->header.size()) : 0;
}

vibrex::FileFormat ClsConverter::FileOutputFormat(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->outputFormat : vibrex::FileFormat::Unknown;
}

void ClsConverter::SetFileOutputFormat(int index, vibrex::FileFormat format) {
    FileRecord* record = Record(index);
    if (record != nullptr && FindFormat(format) != nullptr) {
        record->outputFormat = format;
    }
}

std::string ClsConverter::FileOutputPath(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->outputPath : std::string();
}

void ClsConverter::SetFileOutputPath(int index, const std::string& path) {
    if (FileRecord* record = Record(index)) {
        record->outputPath = path;
    }
}

bool ClsConverter::FileAutoNaming(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr && record->autoNaming;
}

void ClsConverter::SetFileAutoNaming(int index, bool autoNaming) {
    if (FileRecord* record = Record(index)) {
        record->autoNaming = autoNaming;
    }
}

ConversionStatus ClsConverter::FileStatus(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->status : ConversionStatus::Idle;
}

std::string ClsConverter::FileErrorText(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->errorText : std::string();
}

std::vector<std::string> ClsConverter::FileOutputFiles(int index) const {
    const FileRecord* record = Record(index);
    if (record == nullptr) {
        return {};
    }
    return {record->outputFiles.begin(), record->outputFiles.end()};
}

int ClsConverter::FileProgress(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? record->progress : 0;
}

bool ClsConverter::WAVAvailable(int index) const {
    return FileOutputFormat(index) == vibrex::FileFormat::WAV;
}

std::int32_t ClsConverter::WAVFactor(int index) const {
    return WAVAvailable(index) ? Record(index)->wav.factor : 0;
}

void ClsConverter::SetWAVFactor(int index, std::int32_t factor) {
    if (WAVAvailable(index)) {
        Record(index)->wav.factor = factor;
    }
}

std::int32_t ClsConverter::WAVBitCount(int index) const {
    return WAVAvailable(index) ? Record(index)->wav.bitCount : 0;
}

void ClsConverter::SetWAVBitCount(int index, std::int32_t bitCount) {
    if (WAVAvailable(index)) {
        Record(index)->wav.bitCount = bitCount;
    }
}

std::int32_t ClsConverter::WAVSamplingRate(int index) const {
    return WAVAvailable(index) ? Record(index)->wav.samplingRate : 0;
}

void ClsConverter::SetWAVSamplingRate(int index, std::int32_t samplingRate) {
    if (WAVAvailable(index)) {
        Record(index)->wav.samplingRate = samplingRate;
    }
}

namespace {

bool IsValidCell(int channel, int channelCount, int property) {
    return channel >= 0 && channel < channelCount && property >= 0 &&
           property < kHeaderPropertiesCount;
}

} // namespace

std::string ClsConverter::HeaderProperty(int index, int channel, int property) const {
    if (!IsValidCell(channel, FileChannelsCount(index), property)) {
        return {};
    }
    return Record(index)->header[static_cast<std::size_t>(channel)][property].value;
}

void ClsConverter::SetHeaderProperty(int index, int channel, int property,
                                     const std::string& value) {
    if (IsValidCell(channel, FileChannelsCount(index), property)) {
        Record(index)->header[static_cast<std::size_t>(channel)][property] = {value, 1};
    }
}

bool ClsConverter::HeaderPropertyAvailable(int index, int property) const {
    return IsValidIndex(index) && IsHeaderPropertyAvailable(FileOutputFormat(index), property);
}

bool ClsConverter::HeaderPropertyFresh(int index, int channel, int property) const {
    return IsValidCell(channel, FileChannelsCount(index), property) &&
           Record(index)->header[static_cast<std::size_t>(channel)][property].edited == 0;
}

namespace {

bool LimitsChannelsToThree(vibrex::FileFormat format) {
    return format == vibrex::FileFormat::SAF || format == vibrex::FileFormat::Seisan;
}

} // namespace

std::int32_t ClsConverter::MergeGoodChannelCount() const {
    if (m_files.empty() || !LimitsChannelsToThree(m_files.front().outputFormat)) {
        return 0;
    }
    std::size_t channels = 0;
    for (const FileRecord& record : m_files) {
        channels += record.header.size();
        if (channels > 3) {
            return 3;
        }
    }
    return 0;
}

std::int32_t ClsConverter::GoodChannelCount(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr && LimitsChannelsToThree(record->outputFormat) &&
                   record->header.size() >= 4
               ? 3
               : 0;
}

std::int32_t ClsConverter::GoodSamplesCount(int index) const {
    constexpr std::int32_t kSuMaxSamples = 32767; // what an SU trace header can hold
    const FileRecord* record = Record(index);
    if (record == nullptr || record->outputFormat != vibrex::FileFormat::SU) {
        return 0;
    }
    for (const ChannelHeader& channel : record->header) {
        const auto samples = ParseNumber(channel[kNumberOfSamples].value);
        if (samples && RoundHalfEven(*samples) > kSuMaxSamples) {
            return kSuMaxSamples;
        }
    }
    return 0;
}

std::string ClsConverter::MergeFilePath() const {
    return m_mergeFilePath;
}

void ClsConverter::SetMergeFilePath(const std::string& path) {
    m_mergeFilePath = path;
}

void ClsConverter::SetDataInversion(bool inversion) {
    m_dataInversion = inversion;
}

void ClsConverter::SetVerbose(bool verbose) {
    m_verbose = verbose;
}

bool ClsConverter::ShowUI() const {
    return m_showUI;
}

void ClsConverter::SetShowUI(bool showUI) {
    m_showUI = showUI;
}

void ClsConverter::Abort() {
    if (m_running) {
        m_abortRequested = true;
    }
}

} // namespace vibrex
