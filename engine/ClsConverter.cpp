#include "engine/ClsConverter.h"

#include "engine/ErrorText.h"
#include "io/Numbers.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <random>

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
std::filesystem::path NewWorkFolder(const std::filesystem::path& parent) {
    RemoveAbandonedFolders(parent, IsWorkFolderName);
    return parent / NewWorkFolderName();
}

} // namespace

ClsConverter::ClsConverter(ConverterHost* host, const std::filesystem::path& workFolderParent)
    : m_host(host != nullptr ? host : &m_silentHost), m_workFolderParent(workFolderParent) {
    m_host->SetEngine(this);
}

const std::filesystem::path& ClsConverter::WorkFolder() const {
    if (!m_workFolder) {
        m_workFolder.emplace(NewWorkFolder(m_workFolderParent));
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
    m_refusal.clear();
    try {
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error)) {
            if (!std::filesystem::is_directory(path, error)) {
                Refuse("File does not exists.\r\n" + path, kFileLoadingErrorTitle);
            }
            return false;
        }
        for (const FileRecord& record : m_files) {
            if (record.path == path) {
                Refuse("File already loaded.\r\n" + path, kFileLoadingErrorTitle);
                return false;
            }
        }
        FileRecord record;
        record.path = path;
        record.stamp = StampOf(path);
        record.format = vibrex::GuessFileFormat(path);
        if (record.format == vibrex::FileFormat::Unknown) {
            Refuse("Unrecognized file format.\r\n" + path, kFileLoadingErrorTitle);
            return false;
        }
        if (!LoadFileHeader(record)) {
            return false;
        }
        if (record.workTotal <= 0) {
            Refuse("File corrupted: unreadable samples count.\r\n" + path, kFileLoadingErrorTitle);
            return false;
        }
        m_files.push_back(std::move(record));
        return true;
    } catch (const std::exception&) {
        return false; // out of memory while building the record: the list stays as it was
    }
}

void ClsConverter::Refuse(const std::string& text, const char* title) {
    m_refusal = text;
    if (m_verbose) {
        m_host->ShowMessage(text, MessageIcon::Exclamation, title);
    }
}

ClsConverter::FileStamp ClsConverter::StampOf(const std::string& path) {
    std::error_code error;
    return {std::filesystem::file_size(path, error), std::filesystem::last_write_time(path, error)};
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
        Refuse(HeaderLoadErrorText(record.path, error.what()), kApplicationTitle);
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

const FormatLimits& LimitsOf(vibrex::FileFormat format) {
    static const FormatLimits kNone;
    const FormatEntry* entry = FindFormat(format);
    return entry != nullptr ? entry->codec.limits : kNone;
}

std::string Plural(std::size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

std::int32_t ClsConverter::MergeGoodChannelCount() const {
    if (m_files.empty()) {
        return 0;
    }
    const int most = LimitsOf(m_files.front().outputFormat).mostChannels;
    std::size_t channels = 0;
    for (const FileRecord& record : m_files) {
        channels += record.header.size();
    }
    return most > 0 && channels > static_cast<std::size_t>(most) ? most : 0;
}

std::int32_t ClsConverter::GoodChannelCount(int index) const {
    const FileRecord* record = Record(index);
    if (record == nullptr) {
        return 0;
    }
    const int most = LimitsOf(record->outputFormat).mostChannels;
    return most > 0 && record->header.size() > static_cast<std::size_t>(most) ? most : 0;
}

std::int32_t ClsConverter::GoodSamplesCount(int index) const {
    const FileRecord* record = Record(index);
    if (record == nullptr) {
        return 0;
    }
    const std::int64_t most = LimitsOf(record->outputFormat).mostSamples;
    for (const ChannelHeader& channel : record->header) {
        const auto samples = ParseNumber(channel[kNumberOfSamples].value);
        if (most > 0 && samples && RoundHalfEven(*samples) > static_cast<double>(most)) {
            return static_cast<std::int32_t>(most);
        }
    }
    return 0;
}

std::string ClsConverter::FileLimitProblem(int index) const {
    const FileRecord* record = Record(index);
    return record != nullptr ? LimitProblem({record}) : std::string();
}

std::string ClsConverter::MergeLimitProblem() const {
    std::vector<const FileRecord*> files;
    for (const FileRecord& record : m_files) {
        files.push_back(&record);
    }
    return files.empty() ? std::string() : LimitProblem(files);
}

// The files go to the first one's output format, with its WAV settings: a sampling rate chosen
// there replaces the channels' own.
std::string ClsConverter::LimitProblem(const std::vector<const FileRecord*>& files) const {
    const vibrex::FileFormat format = files.front()->outputFormat;
    const FormatLimits& limits = LimitsOf(format);
    const std::string name = vibrex::FileFormatToString(format);
    std::size_t channels = 0;
    for (const FileRecord* record : files) {
        channels += record->header.size();
    }
    const std::string input = files.size() == 1 ? files.front()->path : "the merged files";
    const auto exact = static_cast<std::size_t>(limits.exactChannels);
    const auto most = static_cast<std::size_t>(limits.mostChannels);
    if ((exact > 0 && channels != exact) || (most > 0 && channels > most)) {
        return name + " holds " + (exact > 0 ? "exactly " : "at most ") +
               Plural(exact > 0 ? exact : most, "channel") + "; " + input + " " +
               (files.size() == 1 ? "has " : "have ") + std::to_string(channels) + ".";
    }
    const bool ownRate = format != vibrex::FileFormat::WAV || files.front()->wav.samplingRate <= 0;
    for (const FileRecord* record : files) {
        for (std::size_t c = 0; c < record->header.size(); ++c) {
            const ChannelHeader& channel = record->header[c];
            const std::string where = "channel " + std::to_string(c + 1) + " of " + record->path;
            const auto samples = ParseNumber(channel[kNumberOfSamples].value);
            if (limits.mostSamples > 0 && samples &&
                RoundHalfEven(*samples) > static_cast<double>(limits.mostSamples)) {
                return name + " holds at most " + std::to_string(limits.mostSamples) +
                       " samples a channel; " + where + " has " + channel[kNumberOfSamples].value +
                       ".";
            }
            if (!ownRate || !limits.needsRate) {
                continue;
            }
            const auto rate = ParseNumber(channel[kSps].value);
            if (!rate || !(*rate > 0) || !std::isfinite(*rate)) {
                return name + " needs a sampling rate; " + where + " has none.";
            }
            if (limits.rateProblem != nullptr) {
                if (const std::string problem = limits.rateProblem(*rate); !problem.empty()) {
                    return "C" + where.substr(1) + ": " + problem;
                }
            }
        }
    }
    return {};
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
