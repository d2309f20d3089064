#include "engine/AutomaticName.h"
#include "engine/ChannelFeed.h"
#include "engine/ChannelFile.h"
#include "engine/ClsConverter.h"
#include "engine/ErrorText.h"
#include "io/Interrupt.h"
#include "io/Numbers.h"
#include "io/StagedOutput.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <thread>

namespace vibrex {

void ClsConverter::StartConversion() {
    m_running = true;
    m_abortRequested = false;
    try {
        if (m_mergeFilePath.empty()) {
            RunSeparate();
        } else {
            RunMerge();
        }
    } catch (const std::exception&) {
        // A host that failed inside an event; the statuses show how far the run came.
    }
    m_running = false;
}

void ClsConverter::RaiseFileStatusChange() {
    m_host->FileStatusChange();
}

void ClsConverter::RaiseConversionProgress() {
    m_host->ConversionProgress();
}

// Ctrl+C or kill stops the run as the Abort button does, whoever hosts the engine.
void ClsConverter::DoEvents() {
    m_host->DoEvents();
    if (CaughtInterrupt() != 0) {
        Abort();
    }
}

void ClsConverter::StartFile(FileRecord& record) {
    record.status = ConversionStatus::InProgress;
    record.errorText.clear();
    record.outputFiles.clear();
    record.workDone = 0;
    record.progress = 0;
    RaiseFileStatusChange();
    RaiseConversionProgress();
    DoEvents();
}

namespace {

bool IsMissing(const std::string& path) {
    std::error_code error;
    return !std::filesystem::is_regular_file(path, error);
}

} // namespace

// A file rewritten, cut or grown since its header was loaded would convert against a header
// that no longer describes it: its run fails, saying so.
std::string ClsConverter::FileChangeText(int index) const {
    const FileRecord* record = Record(index);
    if (record == nullptr || StampOf(record->path) == record->stamp) {
        return {};
    }
    return StageErrorText(kReaderStage, "The file changed since it was added (its size or "
                                        "modification time differs): " +
                                            record->path +
                                            ". Remove it and add it again to convert what it "
                                            "holds now.");
}

bool ClsConverter::FailIfChanged(int index) {
    std::string changed = FileChangeText(index);
    if (changed.empty()) {
        return false;
    }
    FileRecord& record = m_files[static_cast<std::size_t>(index)];
    record.status = ConversionStatus::Failed;
    record.errorText = std::move(changed);
    return true;
}

void ClsConverter::RunSeparate() {
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        const int index = static_cast<int>(i);
        if (IsMissing(m_files[i].path)) {
            m_files[i].status = ConversionStatus::FileMissing;
            RaiseFileStatusChange();
            continue;
        }
        if (FailIfChanged(index)) {
            Report(m_files[i].errorText);
            RaiseFileStatusChange();
            continue;
        }
        if (m_showUI) {
            m_host->OpenProgressWindow(m_files[i].workTotal);
        }
        StartFile(m_files[i]);
        const std::string error = ConvertFile(index);
        FileRecord& record = m_files[i];
        if (!error.empty()) {
            Report(error);
            record.status = ConversionStatus::Failed;
            record.errorText = error;
            RaiseFileStatusChange();
        } else if (m_abortRequested) {
            record.status = ConversionStatus::Aborted;
            RaiseFileStatusChange();
        } else {
            MarkSucceeded(record);
            record.outputFiles = m_placedOutputs;
            RaiseFileStatusChange();
            RaiseConversionProgress();
            if (m_showUI) {
                m_host->UpdateProgressWindow(record.workDone);
            }
        }
        if (m_showUI) {
            m_host->CloseProgressWindow();
        }
        if (record.status == ConversionStatus::Aborted) {
            return;
        }
    }
}

void ClsConverter::MarkSucceeded(FileRecord& record) {
    record.status = ConversionStatus::Success;
    record.workDone = record.workTotal;
    record.progress = 100;
}

void ClsConverter::SetAllStatuses(ConversionStatus status) {
    for (FileRecord& record : m_files) {
        record.status = status;
    }
}

void ClsConverter::RunMerge() {
    std::int64_t runTotal = 0;
    for (const FileRecord& record : m_files) {
        runTotal += record.workTotal;
    }
    if (m_showUI) {
        m_host->OpenProgressWindow(runTotal);
    }
    int channelCounter = 1;
    int failedIndex = -1;
    for (std::size_t i = 0; i < m_files.size() && !m_abortRequested; ++i) {
        const int index = static_cast<int>(i);
        if (IsMissing(m_files[i].path)) {
            m_files[i].status = ConversionStatus::FileMissing;
            failedIndex = index;
            break;
        }
        if (FailIfChanged(index)) {
            failedIndex = index;
            break;
        }
        StartFile(m_files[i]);
        const std::string error =
            m_abortRequested ? std::string() : ConvertToIntermediate(index, channelCounter);
        if (m_abortRequested || !error.empty()) {
            if (!m_abortRequested) {
                m_files[i].status = ConversionStatus::Failed;
                m_files[i].errorText = error;
                failedIndex = index;
            }
            break;
        }
        channelCounter += FileChannelsCount(index);
    }
    if (failedIndex >= 0 || m_abortRequested) {
        // The failed file's status tells what went wrong; the others were not converted.
        DeleteIntermediateFiles();
        for (std::size_t i = 0; i < m_files.size(); ++i) {
            if (m_abortRequested) {
                m_files[i].status = ConversionStatus::Aborted;
            } else if (static_cast<int>(i) != failedIndex) {
                m_files[i].status = ConversionStatus::Idle;
            }
        }
        RaiseFileStatusChange();
    } else {
        const std::string error = ConvertFromIntermediate(0, channelCounter - 1);
        if (!error.empty()) {
            Report(error);
            SetAllStatuses(ConversionStatus::Failed);
            for (FileRecord& record : m_files) {
                record.errorText = error;
            }
            RaiseFileStatusChange();
        } else if (!m_abortRequested) {
            for (FileRecord& record : m_files) {
                MarkSucceeded(record);
                record.outputFiles = m_placedOutputs;
            }
            RaiseFileStatusChange();
            RaiseConversionProgress();
            if (m_showUI) {
                m_host->UpdateProgressWindow(runTotal);
            }
        } else {
            SetAllStatuses(ConversionStatus::Aborted);
            RaiseFileStatusChange();
        }
    }
    if (m_showUI) {
        m_host->CloseProgressWindow();
    }
}

namespace {

// A second thread costs CPU time of its own (both threads touch the same pages), and below about
// two million samples it saves no waiting: the run's fixed costs, such as syncing the output,
// take most of it. An archive of shorter recordings converted on every core stays as fast.
constexpr std::int64_t kOverlappedWorkLeast = std::int64_t{2} << 21; // 2^21 samples, both stages

} // namespace

// The reader, then the writer. A long recording's reader runs on a thread of its own while the
// writer already converts what it has written; the outcome is the same.
std::string ClsConverter::ConvertFile(int index) {
    if (m_abortRequested) {
        DeleteIntermediateFiles();
        return {};
    }
    if (m_files[static_cast<std::size_t>(index)].workTotal >= kOverlappedWorkLeast) {
        if (auto error = ConvertOverlapped(index)) {
            return *error;
        }
    }
    std::string error = ConvertToIntermediate(index, 1);
    if (!error.empty() || m_abortRequested) {
        DeleteIntermediateFiles();
        return error;
    }
    return ConvertFromIntermediate(index, FileChannelsCount(index));
}

// A reader on its own thread: it never calls the host. Its progress and its channel files' growth
// go to the feed, and it stops at a step once the user has aborted.
class FeedingReaderContext final : public ReaderContext {
public:
    FeedingReaderContext(ClsConverter& engine, int fileIndex, ChannelFeed& feed,
                         std::stop_token stop)
        : ReaderContext(engine, fileIndex, 1), m_feed(feed), m_stop(std::move(stop)) {
        CountInto(m_workDone);
    }
    ~FeedingReaderContext() override { m_feed.Progressed(m_workDone); }

    OutputFile OpenChannelFile(int channel) const override {
        OutputFile file = ReaderContext::OpenChannelFile(channel);
        file.NotifyFlushes([&feed = m_feed, channel](bool closed) { feed.Grew(channel, closed); });
        m_feed.Opened(channel);
        return file;
    }

private:
    bool ReportProgress() override {
        m_feed.Progressed(m_workDone);
        return !m_engine.m_abortRequested && !m_stop.stop_requested();
    }

    ChannelFeed& m_feed;
    std::stop_token m_stop;
    std::int64_t m_workDone = 0;
};

// The file's error text, or nothing when the system gives no thread: then nothing has been done.
std::optional<std::string> ClsConverter::ConvertOverlapped(int index) {
    WorkFolder(); // made here, not by the reader's thread
    ChannelFeed feed(FileChannelsCount(index));
    std::string readerError;
    // Declared after what it uses: leaving early stops and joins it first.
    std::jthread reader;
    try {
        reader = std::jthread([&](std::stop_token stop) {
            {
                FeedingReaderContext context(*this, index, feed, std::move(stop));
                readerError = RunReader(context, index);
            }
            feed.Finished();
        });
    } catch (const std::system_error&) {
        return std::nullopt;
    }
    m_feed = &feed;
    struct FeedEnd {
        ClsConverter& engine;
        ~FeedEnd() { engine.m_feed = nullptr; }
    } feedEnd{*this};
    std::string error = RunWriter(index, FileChannelsCount(index));
    try {
        AwaitReader(index, [] { return false; });
    } catch (const std::exception& failure) {
        // The host failed while the reader's progress was reported to it.
        reader.request_stop();
        error = StageErrorText(kReaderStage, failure.what());
    }
    reader.join();
    // As when the reader runs first: its failure is the file's, and an abort ends the file before
    // the writer could fail.
    if (!readerError.empty()) {
        error = std::move(readerError);
    } else if (m_abortRequested) {
        error.clear();
    }
    return EndWriting(std::move(error));
}

std::string ClsConverter::ConvertToIntermediate(int index, int firstChannelNumber) {
    ReaderContext context(*this, index, firstChannelNumber);
    return RunReader(context, index);
}

std::string ClsConverter::RunReader(ReaderContext& context, int index) {
    try {
        ReaderOf(FileFormat(index)).read(context);
        return {};
    } catch (const std::exception& error) {
        return StageErrorText(kReaderStage, error.what());
    }
}

std::string ClsConverter::ConvertFromIntermediate(int index, int channelCount) {
    return EndWriting(RunWriter(index, channelCount));
}

std::string ClsConverter::RunWriter(int index, int channelCount) {
    m_createdOutputs.clear();
    m_placedOutputs.clear();
    try {
        const FormatEntry* entry = FindFormat(FileOutputFormat(index));
        if (entry == nullptr) {
            throw std::runtime_error("No output format is chosen.");
        }
        WriterContext context(*this, index, channelCount);
        entry->codec.write(context);
        return {};
    } catch (const std::exception& failure) {
        return StageErrorText(kWriterStage, failure.what());
    }
}

// Puts the outputs of a writer that completed in place, and deletes the intermediate files.
std::string ClsConverter::EndWriting(std::string error) {
    if (error.empty() && !m_abortRequested) {
        try {
            PlaceCreatedOutputs();
        } catch (const std::exception& failure) {
            error = StageErrorText(kWriterStage, failure.what());
        }
    }
    DiscardCreatedOutputs();
    DeleteIntermediateFiles();
    return error;
}

template <typename Ready> void ClsConverter::AwaitReader(int index, Ready ready) {
    for (;;) {
        const std::uint64_t seen = m_feed->Changes();
        if (ready() || m_feed->IsFinished()) {
            return;
        }
        AwaitChange(index, seen);
    }
}

// Reports the reader's progress where it has made some, as a reader running first would have;
// otherwise waits for the reader's next change.
void ClsConverter::AwaitChange(int index, std::uint64_t seen) {
    if (m_feed->HasProgress()) {
        ProgressStep(index);
    } else {
        m_feed->WaitForChange(seen);
    }
}

LineReader ClsConverter::OpenIntermediate(int index, int channelNumber) {
    const std::filesystem::path path = IntermediatePath(channelNumber);
    if (m_feed == nullptr) {
        return LineReader(path);
    }
    const int channel = channelNumber - 1; // the feed's file is alone: its channels count from 1
    AwaitReader(index, [&] { return m_feed->IsOpened(channel); });
    // The count of changes is taken before the file is opened: what they wrote is there.
    return LineReader(path, [this, index, channel, seen = m_feed->Changes()]() mutable {
        return AwaitGrowth(index, channel, seen);
    });
}

bool ClsConverter::AwaitGrowth(int index, int channel, std::uint64_t& seen) {
    for (;;) {
        switch (m_feed->GrowthSince(channel, seen)) {
        case ChannelFeed::Growth::Possible:
            return true;
        case ChannelFeed::Growth::Final:
            return false;
        case ChannelFeed::Growth::Pending:
            AwaitChange(index, seen);
        }
    }
}

std::filesystem::path ClsConverter::IntermediatePath(int channelNumber) const {
    return WorkFolder() / ("converter" + std::to_string(channelNumber) + ".tmp");
}

void ClsConverter::DeleteIntermediateFiles() const {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(WorkFolder(), error)) {
        if (entry.path().extension() == ".tmp") {
            files.push_back(entry.path());
        }
    }
    for (const auto& file : files) {
        std::filesystem::remove(file, error);
    }
}

// Only a writer that completed puts its outputs in place; until then whatever stood at their
// paths keeps its bytes.
void ClsConverter::PlaceCreatedOutputs() {
    for (const StagedOutput& output : m_createdOutputs) {
        m_placedOutputs.push_back(output.final);
    }
    while (!m_createdOutputs.empty()) {
        CommitStagedOutput(m_createdOutputs.back());
        m_createdOutputs.pop_back();
    }
}

void ClsConverter::DiscardCreatedOutputs() {
    for (const StagedOutput& output : m_createdOutputs) {
        DiscardStagedOutput(output);
    }
    m_createdOutputs.clear();
}

bool ClsConverter::IsInput(const std::filesystem::path& path) const {
    std::error_code error;
    for (const FileRecord& record : m_files) {
        if (std::filesystem::equivalent(path, record.path, error)) {
            return true;
        }
    }
    return false;
}

bool ClsConverter::ProgressStep(int index) {
    FileRecord& record = m_files[static_cast<std::size_t>(index)];
    if (m_feed != nullptr) {
        record.workDone += m_feed->TakeProgress();
    }
    const double percent =
        static_cast<double>(record.workDone) * 100.0 / static_cast<double>(record.workTotal);
    record.progress = static_cast<std::int32_t>(std::min(100.0, RoundHalfEven(percent)));
    RaiseConversionProgress();
    DoEvents();
    if (m_showUI) {
        std::int64_t value = record.workDone;
        if (!m_mergeFilePath.empty()) {
            value = 0;
            for (const FileRecord& file : m_files) {
                value += file.workDone;
            }
        }
        m_host->UpdateProgressWindow(value);
    }
    return !m_abortRequested;
}

ConversionContext::ConversionContext(ClsConverter& engine, int fileIndex)
    : m_engine(engine), m_fileIndex(fileIndex) {
    AccountTo(fileIndex);
}

void ConversionContext::AccountTo(int fileIndex) {
    auto& record = m_engine.m_files[static_cast<std::size_t>(fileIndex)];
    m_fileIndex = fileIndex;
    m_workDone = &record.workDone;
    m_step = record.progressStep;
    // Progress is reported whenever the work done reaches a multiple of the step.
    m_untilStep = m_step - record.workDone % m_step;
}

ConversionContext::ConversionContext(ClsConverter& engine, std::int64_t& workDone,
                                     std::int64_t step)
    : m_engine(engine), m_fileIndex(-1), m_workDone(&workDone), m_step(step), m_untilStep(step) {}

bool ConversionContext::Step() {
    m_untilStep = m_step;
    return ReportProgress();
}

bool ConversionContext::ReportProgress() {
    return m_engine.ProgressStep(m_fileIndex);
}

bool ConversionContext::DataInversion() const {
    return m_engine.m_dataInversion;
}

ReaderContext::ReaderContext(ClsConverter& engine, int fileIndex, int firstChannelNumber)
    : ConversionContext(engine, fileIndex), m_inputPath(engine.FilePath(fileIndex)),
      m_firstChannelNumber(firstChannelNumber) {}

ReaderContext::ReaderContext(ClsConverter& engine, std::filesystem::path inputPath,
                             std::int64_t& workDone, std::int64_t step)
    : ConversionContext(engine, workDone, step), m_inputPath(std::move(inputPath)),
      m_firstChannelNumber(1) {}

const std::filesystem::path& ReaderContext::InputPath() const {
    return m_inputPath;
}

int ReaderContext::ChannelCount() const {
    return m_engine.FileChannelsCount(m_fileIndex);
}

OutputFile ReaderContext::OpenChannelFile(int channel) const {
    const auto path = m_engine.IntermediatePath(m_firstChannelNumber + channel);
    OutputFile file(path);
    if (!file.IsOpen()) {
        throw std::runtime_error(CantOpenIntermediateFile(path));
    }
    const auto& cells = m_engine.m_files[static_cast<std::size_t>(m_fileIndex)]
                            .header[static_cast<std::size_t>(channel)];
    HeaderValues values;
    for (int property = 0; property < kHeaderPropertiesCount; ++property) {
        values[property] = cells[property].value;
    }
    WriteChannelHeader(file, values, vibrex::FileFormatToString(m_engine.FileFormat(m_fileIndex)));
    return file;
}

WriterContext::WriterContext(ClsConverter& engine, int fileIndex, int channelCount)
    : ConversionContext(engine, fileIndex), m_outputIndex(fileIndex), m_channelCount(channelCount) {
}

std::filesystem::path WriterContext::IntermediatePath(int channelNumber) const {
    return m_engine.IntermediatePath(channelNumber);
}

LineReader WriterContext::ChannelLines(int channelNumber) {
    return m_engine.OpenIntermediate(m_fileIndex, channelNumber);
}

ChannelFileReader WriterContext::OpenChannel(int channelNumber) {
    return ChannelFileReader(ChannelLines(channelNumber), IntermediatePath(channelNumber));
}

void WriterContext::BeginChannel(int channelNumber) {
    if (m_engine.m_mergeFilePath.empty()) {
        return;
    }
    int lastOfFile = 0;
    for (int index = 0; index < m_engine.FilesCount(); ++index) {
        lastOfFile += m_engine.FileChannelsCount(index);
        if (channelNumber <= lastOfFile) {
            AccountTo(index);
            return;
        }
    }
}

std::filesystem::path WriterContext::OutputPath() const {
    return m_engine.m_mergeFilePath.empty() ? m_engine.FileOutputPath(m_outputIndex)
                                            : m_engine.m_mergeFilePath;
}

// Single-channel formats write one file per channel: named automatically, or numbered when
// there are several channels.
std::filesystem::path WriterContext::ChannelOutputPath(int channelNumber) {
    BeginChannel(channelNumber);
    const std::filesystem::path output = OutputPath();
    if (m_engine.FileAutoNaming(m_outputIndex)) {
        const auto extensions =
            vibrex::GetFileFormatExtensions(m_engine.FileOutputFormat(m_outputIndex));
        return output.parent_path() / (BuildAutomaticName(ChannelLines(channelNumber)) +
                                       (extensions.empty() ? std::string() : extensions.front()));
    }
    if (m_channelCount > 1) {
        return output.parent_path() / (output.stem().string() + std::to_string(channelNumber) +
                                       output.extension().string());
    }
    return output;
}

OutputFile WriterContext::CreateOutputFile(const std::filesystem::path& path) {
    if (m_engine.IsInput(path)) {
        throw std::runtime_error("The output file is one of the inputs: " + path.string());
    }
    StagedOutput staged;
    OutputFile file = CreateStagedOutput(path, staged);
    m_engine.m_createdOutputs.push_back(std::move(staged));
    return file;
}

WavSettings WriterContext::Wav() const {
    return m_engine.m_files[static_cast<std::size_t>(m_outputIndex)].wav;
}

} // namespace vibrex
