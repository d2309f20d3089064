// The text formats GSE2 INT, PSN CM6, SAF, Geonode and Ondaro beside miniSEED -> SAC, in one
// run: miniSEED -> X and X -> miniSEED, wall and CPU time per sample, the wall and CPU ratios
// to miniSEED -> SAC (a long recording's reader and writer share two cores, so the wall time is
// what a user waits and the CPU time what a busy machine pays) and peak memory of each
// conversion in its own child process, median of interleaved rounds. PSN ASCII -> miniSEED shows what any text input costs.
// SAF takes three channels: a merge of three miniSEED
// files of a third of the samples each, and back to three files.
// Usage: bench_text [samples] [rounds]   (default 10 000 000 samples, 3 rounds)
#include "BenchSupport.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace vibrex;

namespace {

using Path = std::filesystem::path;

struct Conversion {
    const char* name;
    std::function<bool()> run;
};

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// A data logger's datalog of the synthetic signal, with the rate a miniSEED output needs.
void WriteSyntheticDatalog(const Path& path, long samples) {
    OutputFile out(path);
    out.Line("! GEONODE datalog");
    out.Line("! Start Time: 2026/01/01 00:00:00.000");
    out.Line("! SPS: 100");
    bench::SyntheticSignal signal;
    for (long i = 0; i < samples; ++i) {
        out.IntegerLine(signal.Next());
    }
    out.Close();
}

// The median of each conversion over `rounds`, the conversions taking turns in each round so
// that drifts of the machine hit all of them; the largest peak of each. Each is compared with
// miniSEED -> SAC, the first conversion.
void MeasureAll(const std::vector<Conversion>& conversions, long samples, int rounds) {
    std::vector<std::vector<double>> wall(conversions.size());
    std::vector<std::vector<double>> cpu(conversions.size());
    std::vector<long> peaks(conversions.size(), 0);
    std::vector<bool> ok(conversions.size(), true);
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < conversions.size(); ++i) {
            const auto m = bench::MeasureInChild(conversions[i].run);
            wall[i].push_back(m.seconds);
            cpu[i].push_back(m.cpuSeconds);
            peaks[i] = std::max(peaks[i], m.peakKiB);
            ok[i] = ok[i] && m.ok;
        }
    }
    const double perSample = 1e9 / static_cast<double>(samples);
    const double wallReference = Median(wall.front());
    const double cpuReference = Median(cpu.front());
    std::printf("%-36s %7s %7s %9s %9s %9s %9s\n", "conversion", "wall s", "CPU s", "CPU ns/sa",
                "wall/SAC", "CPU/SAC", "peak KiB");
    for (std::size_t i = 0; i < conversions.size(); ++i) {
        std::printf("%-36s %7.3f %7.3f %9.1f %9.2f %9.2f %9ld%s\n", conversions[i].name,
                    Median(wall[i]), Median(cpu[i]), Median(cpu[i]) * perSample,
                    Median(wall[i]) / wallReference, Median(cpu[i]) / cpuReference, peaks[i],
                    ok[i] ? "" : "  (A RUN FAILED)");
    }
}

} // namespace

int main(int argc, char** argv) {
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    bench::ScratchFolder scratch;
    const Path folder = scratch.Path();

    const Path mseed = folder / "in.mseed";
    bench::WriteSyntheticPsn(folder / "in.psn", samples);
    bench::ConvertWithVibrex(folder, folder / "in.psn", FileFormat::miniSeed, mseed);
    std::vector<Path> thirds;
    for (int c = 1; c <= 3; ++c) {
        const std::string name = "third" + std::to_string(c);
        bench::WriteSyntheticPsn(folder / (name + ".psn"), (samples + 2) / 3);
        thirds.push_back(folder / (name + ".mseed"));
        bench::ConvertWithVibrex(folder, folder / (name + ".psn"), FileFormat::miniSeed,
                                 thirds.back());
    }
    const Path datalog = folder / "in.dat";
    WriteSyntheticDatalog(datalog, samples);
    const Path ondaro = folder / "in.ond";
    const Path saf = folder / "in.saf";
    const Path gse = folder / "in.gse";
    const Path cm6 = folder / "in.cm6";
    bench::ConvertWithVibrex(folder, mseed, FileFormat::Ondaro, ondaro);
    bench::ConvertWithVibrex(folder, mseed, FileFormat::GSEINT, gse);
    bench::ConvertWithVibrex(folder, mseed, FileFormat::PSNCM6, cm6);
    bench::MergeWithVibrex(folder, thirds, FileFormat::SAF, saf);
    std::printf("%ld samples (SAF: 3 x %ld), %d rounds; inputs: miniSEED %.1f MB, Geonode %.1f "
                "MB, Ondaro %.1f MB, SAF %.1f MB\n",
                samples, (samples + 2) / 3, rounds, std::filesystem::file_size(mseed) / 1e6,
                std::filesystem::file_size(datalog) / 1e6, std::filesystem::file_size(ondaro) / 1e6,
                std::filesystem::file_size(saf) / 1e6);

    const auto convert = [&](const Path& input, FileFormat format, const char* output) {
        return [&folder, input, format, output] {
            return bench::ConvertWithVibrex(folder, input, format, folder / output);
        };
    };
    const std::vector<Conversion> conversions = {
        {"miniSEED -> SAC", convert(mseed, FileFormat::SAC, "o.sac")},
        {"PSN ASCII -> miniSEED (text input)",
         convert(folder / "in.psn", FileFormat::miniSeed, "p.mseed")},
        {"miniSEED -> GSE2 INT", convert(mseed, FileFormat::GSEINT, "o.gse")},
        {"GSE2 INT -> miniSEED", convert(gse, FileFormat::miniSeed, "i.mseed")},
        {"miniSEED -> PSN CM6", convert(mseed, FileFormat::PSNCM6, "o.cm6")},
        {"PSN CM6 -> miniSEED", convert(cm6, FileFormat::miniSeed, "c.mseed")},
        {"miniSEED -> Geonode", convert(mseed, FileFormat::Geonode, "o.dat")},
        {"Geonode -> miniSEED", convert(datalog, FileFormat::miniSeed, "g.mseed")},
        {"miniSEED -> Ondaro", convert(mseed, FileFormat::Ondaro, "o.ond")},
        {"Ondaro -> miniSEED", convert(ondaro, FileFormat::miniSeed, "d.mseed")},
        {"3 miniSEED -> SAF (merge)",
         [&] { return bench::MergeWithVibrex(folder, thirds, FileFormat::SAF, folder / "o.saf"); }},
        {"SAF -> 3 miniSEED", convert(saf, FileFormat::miniSeed, "s.mseed")},
    };
    MeasureAll(conversions, samples, rounds);
    return 0;
}
