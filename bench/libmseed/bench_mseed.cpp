// miniSEED through Vibrex beside a reference converter built on libmseed, in one run: wall time
// and peak memory of each conversion in its own child process, median of interleaved rounds.
// A breakdown times the stages of Vibrex's conversions on their own, in this process. Then what
// an archive of short recordings feels: the vibrex executable and the reference as whole
// processes, one per file, in milliseconds a file.
// Usage: bench_mseed [samples] [rounds] [short files] [vibrex]   (default 10 000 000 samples,
//        5 rounds, 1 000 files of 3 000 samples, the vibrex built beside this benchmark; another
//        executable, such as a copy of an earlier build, times the per-file figures of that one)
//        bench_mseed --reference-sac input.mseed output.sac   (the reference as a program)
//        bench_mseed --reference-mseed input.sac output.mseed
#include "../BenchSupport.h"
#include "engine/ChannelFile.h"
#include "formats/ChannelValues.h"
#include "formats/Steim.h"
#include "io/ByteOrder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <libmseed.h>
#include <spawn.h>
#include <vector>

extern char** environ;

using namespace vibrex;

namespace {

using Path = std::filesystem::path;

constexpr std::size_t kChunk = 1 << 20;

// ---- The reference converter: libmseed for the records, plain buffered text ----------------

struct StdioFile {
    StdioFile(const Path& path, const char* mode) : file(std::fopen(path.c_str(), mode)) {}
    ~StdioFile() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
    std::FILE* file;
};

void WriteRecord(char* record, int length, void* file) {
    std::fwrite(record, 1, static_cast<std::size_t>(length), static_cast<std::FILE*>(file));
}

// Packs samples into 512-byte big-endian Steim-2 records as they arrive.
class ReferencePacker {
public:
    explicit ReferencePacker(std::FILE* out) : m_out(out), m_record(msr_init(nullptr)) {
        std::strcpy(m_record->network, "XX");
        std::strcpy(m_record->station, "BENCH");
        std::strcpy(m_record->channel, "HHZ");
        m_record->dataquality = 'D';
        m_record->starttime = ms_time2hptime(2026, 1, 0, 0, 0, 0);
        m_record->samprate = 100;
        m_record->reclen = 512;
        m_record->encoding = DE_STEIM2;
        m_record->byteorder = 1;
        m_record->sampletype = 'i';
        m_samples.reserve(kChunk);
    }
    ~ReferencePacker() {
        m_record->datasamples = nullptr;
        msr_free(&m_record);
    }

    void Add(std::int32_t sample) {
        m_samples.push_back(sample);
        if (m_samples.size() == kChunk) {
            Pack(false);
        }
    }
    void Finish() { Pack(true); }

private:
    void Pack(bool flush) {
        m_record->datasamples = m_samples.data();
        m_record->numsamples = static_cast<std::int64_t>(m_samples.size());
        std::int64_t packed = 0;
        // libmseed moves the start time on past the packed samples itself.
        msr_pack(m_record, WriteRecord, m_out, &packed, flush, 0);
        m_samples.erase(m_samples.begin(), m_samples.begin() + packed);
    }

    std::FILE* m_out;
    MSRecord* m_record;
    std::vector<std::int32_t> m_samples;
};

// Calls `use` with every sample of a miniSEED file, record by record.
template <typename Use> bool ForEachLibmseedSample(const Path& input, Use use) {
    MSFileParam* file = nullptr;
    MSRecord* record = nullptr;
    int status;
    while ((status = ms_readmsr_r(&file, &record, input.c_str(), 0, nullptr, nullptr, 1, 1, 0)) ==
           MS_NOERROR) {
        const auto* samples = static_cast<const std::int32_t*>(record->datasamples);
        for (std::int64_t i = 0; i < record->numsamples; ++i) {
            use(samples[i]);
        }
    }
    ms_readmsr_r(&file, &record, nullptr, 0, nullptr, nullptr, 0, 0, 0);
    return status == MS_ENDOFFILE;
}

bool ReferenceMiniSeedToText(const Path& input, const Path& output) {
    StdioFile out(output, "wb");
    std::vector<char> buffer(kChunk + 64);
    std::size_t used = 0;
    const char header[] = "! PSN ASCII Event File Format 2.0\r\nData: \r\n";
    std::fwrite(header, 1, sizeof header - 1, out.file);
    const bool ok = ForEachLibmseedSample(input, [&](std::int32_t sample) {
        used = static_cast<std::size_t>(
            std::to_chars(buffer.data() + used, buffer.data() + used + 16, sample).ptr -
            buffer.data());
        buffer[used++] = '\r';
        buffer[used++] = '\n';
        if (used >= kChunk) {
            std::fwrite(buffer.data(), 1, used, out.file);
            used = 0;
        }
    });
    std::fwrite(buffer.data(), 1, used, out.file);
    return ok;
}

bool ReferenceTextToMiniSeed(const Path& input, const Path& output) {
    StdioFile in(input, "rb");
    StdioFile out(output, "wb");
    ReferencePacker packer(out.file);
    std::vector<char> buffer(kChunk);
    std::size_t kept = 0;
    bool inData = false;
    while (std::size_t got = std::fread(buffer.data() + kept, 1, buffer.size() - kept, in.file)) {
        const char* line = buffer.data();
        const char* end = buffer.data() + kept + got;
        while (const char* newline =
                   static_cast<const char*>(std::memchr(line, '\n', end - line))) {
            if (inData) {
                std::int32_t sample = 0;
                std::from_chars(line, newline, sample);
                packer.Add(sample);
            } else {
                inData = std::strncmp(line, "Data:", 5) == 0;
            }
            line = newline + 1;
        }
        kept = static_cast<std::size_t>(end - line);
        std::memmove(buffer.data(), line, kept);
    }
    packer.Finish();
    return true;
}

bool ReferenceMiniSeedToMiniSeed(const Path& input, const Path& output) {
    StdioFile out(output, "wb");
    ReferencePacker packer(out.file);
    const bool ok = ForEachLibmseedSample(input, [&](std::int32_t sample) { packer.Add(sample); });
    packer.Finish();
    return ok;
}

// SAC: a 632-byte header, then the samples as little-endian 32-bit floats.
constexpr std::size_t kSacHeaderSize = 632;

bool ReferenceMiniSeedToSac(const Path& input, const Path& output) {
    StdioFile out(output, "wb");
    std::array<unsigned char, kSacHeaderSize> header{};
    std::fwrite(header.data(), 1, header.size(), out.file); // completed once the count is known
    std::vector<unsigned char> buffer;
    buffer.reserve(kChunk + 4);
    std::int32_t count = 0;
    const bool ok = ForEachLibmseedSample(input, [&](std::int32_t sample) {
        buffer.resize(buffer.size() + 4);
        StoreAs<float>(buffer.data() + buffer.size() - 4, static_cast<float>(sample),
                       ByteOrder::Little);
        ++count;
        if (buffer.size() >= kChunk) {
            std::fwrite(buffer.data(), 1, buffer.size(), out.file);
            buffer.clear();
        }
    });
    std::fwrite(buffer.data(), 1, buffer.size(), out.file);
    StoreAs<float>(header.data(), 0.01f, ByteOrder::Little);              // DELTA
    StoreAs<std::int32_t>(header.data() + 280, 2026, ByteOrder::Little);  // NZYEAR
    StoreAs<std::int32_t>(header.data() + 284, 1, ByteOrder::Little);     // NZJDAY
    StoreAs<std::int32_t>(header.data() + 304, 6, ByteOrder::Little);     // NVHDR
    StoreAs<std::int32_t>(header.data() + 316, count, ByteOrder::Little); // NPTS
    StoreAs<std::int32_t>(header.data() + 340, 1, ByteOrder::Little);     // IFTYPE
    StoreAs<std::int32_t>(header.data() + 420, 1, ByteOrder::Little);     // LEVEN
    std::fseek(out.file, 0, SEEK_SET);
    std::fwrite(header.data(), 1, header.size(), out.file);
    return ok;
}

bool ReferenceSacToMiniSeed(const Path& input, const Path& output) {
    StdioFile in(input, "rb");
    StdioFile out(output, "wb");
    ReferencePacker packer(out.file);
    std::vector<unsigned char> buffer(kChunk);
    if (std::fread(buffer.data(), 1, kSacHeaderSize, in.file) != kSacHeaderSize) {
        return false;
    }
    while (std::size_t got = std::fread(buffer.data(), 4, kChunk / 4, in.file)) {
        for (std::size_t i = 0; i < got; ++i) {
            packer.Add(static_cast<std::int32_t>(
                std::lrint(LoadAs<float>(buffer.data() + 4 * i, ByteOrder::Little))));
        }
    }
    packer.Finish();
    return true;
}

// ---- Measurements ---------------------------------------------------------------------------

struct Comparison {
    const char* name;
    std::function<bool()> vibrex;
    std::function<bool()> reference;
};

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Compare(const Comparison& comparison, int rounds) {
    std::vector<double> ours, theirs, oursCpu, theirsCpu;
    long oursPeak = 0, theirsPeak = 0;
    bool ok = true;
    for (int round = 0; round < rounds; ++round) {
        // Interleaved, the first to run alternating, so drifts of the machine hit both.
        const bool oursFirst = round % 2 == 0;
        const auto first =
            bench::MeasureInChild(oursFirst ? comparison.vibrex : comparison.reference);
        const auto second =
            bench::MeasureInChild(oursFirst ? comparison.reference : comparison.vibrex);
        const auto& mine = oursFirst ? first : second;
        const auto& other = oursFirst ? second : first;
        ours.push_back(mine.seconds);
        theirs.push_back(other.seconds);
        oursCpu.push_back(mine.cpuSeconds);
        theirsCpu.push_back(other.cpuSeconds);
        oursPeak = std::max(oursPeak, mine.peakKiB);
        theirsPeak = std::max(theirsPeak, other.peakKiB);
        ok = ok && mine.ok && other.ok;
    }
    std::printf("%-28s Vibrex %6.3f s (CPU %6.3f) %7ld KiB | libmseed reference %6.3f s (CPU "
                "%6.3f) %7ld KiB | ratio %.2f (CPU %.2f)%s\n",
                comparison.name, Median(ours), Median(oursCpu), oursPeak, Median(theirs),
                Median(theirsCpu), theirsPeak, Median(ours) / Median(theirs),
                Median(oursCpu) / Median(theirsCpu), ok ? "" : "  (A RUN FAILED)");
}

double SecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Reads the samples of a text file as the writers do, handing each sample's text to `use`.
template <typename Use> double SecondsReadingSamples(const Path& psn, Use use) {
    return SecondsOf([&] {
        ChannelFileReader in(psn);
        std::string_view text;
        while (in.NextSample(text)) {
            use(text);
        }
    });
}

// The stages of Vibrex's conversions, each on its own.
void Breakdown(const Path& mseed, const Path& psn, const Path& scratch, long samples) {
    std::vector<std::int32_t> all;
    all.reserve(static_cast<std::size_t>(samples));
    const double decode = SecondsOf([&] {
        InputFile in(mseed);
        std::array<unsigned char, 512> record;
        std::array<std::int32_t, kSteimBufferSamples> buffer;
        while (in.ReadExact(record.data(), record.size())) {
            decode_steim(record.data() + 64, buffer.data(), record[52], record[53]);
            const int count = record[30] << 8 | record[31];
            all.insert(all.end(), buffer.begin(), buffer.begin() + count);
        }
    });
    const double format = SecondsOf([&] {
        OutputFile out(scratch / "breakdown.txt");
        out.IntegerLines(all);
        out.Close();
    });
    const double floatFormat = SecondsOf([&] {
        OutputFile out(scratch / "breakdown.txt");
        for (const std::int32_t sample : all) {
            out.NumberLine(static_cast<float>(sample));
        }
        out.Close();
    });
    long parsed = 0;
    const double parse = SecondsReadingSamples(
        psn, [&](std::string_view text) { parsed += SampleWholeNumber(text); });
    double sum = 0;
    const double floatParse =
        SecondsReadingSamples(psn, [&](std::string_view text) { sum += SampleFloat(text); });
    const double encode = SecondsOf([&] {
        std::array<std::int32_t, kSteimBufferSamples> buffer{};
        std::array<unsigned char, kSteimDataBytes> data;
        int fill = 1;
        for (const std::int32_t sample : all) {
            buffer[static_cast<std::size_t>(fill++)] = sample;
            if (fill == kSteimEncodeEnd) {
                fill = encode_steim(buffer.data(), data.data(), kEncodingSteim2, 1);
            }
        }
    });
    const double perSample = 1e9 / static_cast<double>(samples);
    std::printf("Breakdown per sample: read+Steim-2 decode %.1f ns, integer to text line %.1f ns,"
                " text line to integer %.1f ns, Steim-2 encode %.1f ns\n",
                decode * perSample, format * perSample, parse * perSample, encode * perSample);
    std::printf("  for SAC: whole float to text line %.1f ns, text line to float %.1f ns\n",
                floatFormat * perSample, floatParse * perSample);
    std::filesystem::remove(scratch / "breakdown.txt");
}

// ---- Whole processes, one per file -------------------------------------------------------------

constexpr long kShortSamples = 3000;

// The one-minute load average: how much other work shared the cores.
std::string LoadAverage() {
    char text[16] = "?";
    if (std::FILE* file = std::fopen("/proc/loadavg", "r")) {
        std::fscanf(file, "%15s", text);
        std::fclose(file);
    }
    return text;
}

// Runs each command line to its end, one process after the other; wall and CPU seconds of all.
bench::Measurement RunProcesses(const std::vector<std::vector<std::string>>& commands) {
    bench::Measurement total{0, 0, 0, true};
    posix_spawn_file_actions_t quiet; // what --version prints goes nowhere
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    for (const auto& command : commands) {
        std::vector<char*> argv;
        for (const std::string& word : command) {
            argv.push_back(const_cast<char*>(word.c_str()));
        }
        argv.push_back(nullptr);
        pid_t child = 0;
        int status = 0;
        rusage usage{};
        total.ok = total.ok &&
                   posix_spawn(&child, argv[0], &quiet, nullptr, argv.data(), environ) == 0 &&
                   wait4(child, &status, 0, &usage) == child && WIFEXITED(status) &&
                   WEXITSTATUS(status) == 0;
        total.cpuSeconds += usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 +
                            usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
        total.peakKiB = std::max(total.peakKiB, usage.ru_maxrss);
    }
    total.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    posix_spawn_file_actions_destroy(&quiet);
    return total;
}

// Two lists of processes taking turns over `rounds`; medians of milliseconds a process.
void CompareProcesses(const char* name, const char* ourName,
                      const std::vector<std::vector<std::string>>& ours, const char* theirName,
                      const std::vector<std::vector<std::string>>& theirs, int rounds,
                      const std::function<void()>& prepare) {
    std::vector<double> oursWall, oursCpu, theirsWall, theirsCpu;
    bool ok = true;
    for (int round = 0; round < rounds; ++round) {
        const bool oursFirst = round % 2 == 0;
        prepare();
        sync();
        const auto first = RunProcesses(oursFirst ? ours : theirs);
        prepare();
        sync();
        const auto second = RunProcesses(oursFirst ? theirs : ours);
        const auto& mine = oursFirst ? first : second;
        const auto& other = oursFirst ? second : first;
        oursWall.push_back(mine.seconds * 1e3 / static_cast<double>(ours.size()));
        oursCpu.push_back(mine.cpuSeconds * 1e3 / static_cast<double>(ours.size()));
        theirsWall.push_back(other.seconds * 1e3 / static_cast<double>(theirs.size()));
        theirsCpu.push_back(other.cpuSeconds * 1e3 / static_cast<double>(theirs.size()));
        ok = ok && mine.ok && other.ok;
    }
    std::printf("%-28s %s %5.2f ms (CPU %5.2f) a process | %s %5.2f ms (CPU %5.2f) | ratio %.2f "
                "(CPU %.2f)%s\n",
                name, ourName, Median(oursWall), Median(oursCpu), theirName, Median(theirsWall),
                Median(theirsCpu), Median(oursWall) / Median(theirsWall),
                Median(oursCpu) / Median(theirsCpu), ok ? "" : "  (A RUN FAILED)");
}

// `files` short miniSEED recordings converted to SAC, each by its own process of vibrex and of
// the reference; then `vibrex --version` beside /bin/true, the least any process costs.
void PerFile(const Path& folder, const char* self, const std::string& vibrex, long files,
             int rounds) {
    unsetenv("DISPLAY"); // no progress windows: a batch run on a server
    unsetenv("WAYLAND_DISPLAY");
    bench::WriteSyntheticPsn(folder / "short.psn", kShortSamples);
    ReferenceTextToMiniSeed(folder / "short.psn", folder / "short.mseed");
    std::vector<std::vector<std::string>> ours, theirs, versions, trues;
    for (long i = 0; i < files; ++i) {
        const Path input = folder / ("short" + std::to_string(i) + ".mseed");
        std::filesystem::copy_file(folder / "short.mseed", input);
        const std::string output = (folder / ("short" + std::to_string(i))).string();
        ours.push_back({vibrex, "CONVERT," + input.string() + "," + output + ".sac,SAC"});
        theirs.push_back({self, "--reference-sac", input.string(), output + ".ref.sac"});
        versions.push_back({vibrex, "--version"});
        trues.push_back({"/bin/true"});
    }
    std::printf("%ld miniSEED files of %ld samples -> SAC, one process each; load average %s\n",
                files, kShortSamples, LoadAverage().c_str());
    // Outputs are new files, as in an archive converted once: replacing a file costs more.
    const auto removeOutputs = [&folder] {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".sac") {
                std::filesystem::remove(entry.path());
            }
        }
    };
    CompareProcesses("a short file -> SAC", "vibrex", ours, "reference", theirs, rounds,
                     removeOutputs);
    CompareProcesses("vibrex --version", "vibrex", versions, "/bin/true", trues, rounds, [] {});
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--reference-sac") == 0) {
        return ReferenceMiniSeedToSac(argv[2], argv[3]) ? 0 : 1;
    }
    if (argc == 4 && std::strcmp(argv[1], "--reference-mseed") == 0) {
        return ReferenceSacToMiniSeed(argv[2], argv[3]) ? 0 : 1;
    }
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const long shortFiles = argc > 3 ? std::atol(argv[3]) : 1000;
    const std::string vibrex = argc > 4 ? argv[4] : VIBREX_EXECUTABLE;
    bench::ScratchFolder scratch;
    const Path folder = scratch.Path();
    const Path psn = folder / "in.psn";
    const Path mseed = folder / "in.mseed";
    const Path sac = folder / "in.sac";
    bench::WriteSyntheticPsn(psn, samples);
    ReferenceTextToMiniSeed(psn, mseed);
    bench::ConvertWithVibrex(folder, psn, FileFormat::SAC, sac);
    std::printf("%ld samples: PSN input %.1f MB, Steim-2 miniSEED input %.1f MB; %d rounds\n",
                samples, std::filesystem::file_size(psn) / 1e6,
                std::filesystem::file_size(mseed) / 1e6, rounds);

    const std::vector<Comparison> comparisons = {
        {"miniSEED -> SAC",
         [&] { return bench::ConvertWithVibrex(folder, mseed, FileFormat::SAC, folder / "o.sac"); },
         [&] { return ReferenceMiniSeedToSac(mseed, folder / "r.sac"); }},
        {"SAC -> miniSEED",
         [&] {
             return bench::ConvertWithVibrex(folder, sac, FileFormat::miniSeed,
                                             folder / "o3.mseed");
         },
         [&] { return ReferenceSacToMiniSeed(sac, folder / "r3.mseed"); }},
        {"miniSEED -> PSN ASCII",
         [&] {
             return bench::ConvertWithVibrex(folder, mseed, FileFormat::PSNINT, folder / "o.psn");
         },
         [&] { return ReferenceMiniSeedToText(mseed, folder / "r.psn"); }},
        {"PSN ASCII -> miniSEED",
         [&] {
             return bench::ConvertWithVibrex(folder, psn, FileFormat::miniSeed, folder / "o.mseed");
         },
         [&] { return ReferenceTextToMiniSeed(psn, folder / "r.mseed"); }},
        {"miniSEED -> miniSEED",
         [&] {
             return bench::ConvertWithVibrex(folder, mseed, FileFormat::miniSeed,
                                             folder / "o2.mseed");
         },
         [&] { return ReferenceMiniSeedToMiniSeed(mseed, folder / "r2.mseed"); }},
    };
    for (const Comparison& comparison : comparisons) {
        Compare(comparison, rounds);
    }
    std::printf("Steim-2 output size: Vibrex %ju bytes, libmseed %ju bytes\n",
                static_cast<std::uintmax_t>(std::filesystem::file_size(folder / "o.mseed")),
                static_cast<std::uintmax_t>(std::filesystem::file_size(folder / "r.mseed")));
    if (samples <= 20'000'000) {
        Breakdown(mseed, psn, folder, samples);
    }
    if (shortFiles > 0) {
        PerFile(folder, argv[0], vibrex, shortFiles, rounds);
    }
    return 0;
}
