// The CM6 formats beside miniSEED -> SAC through the engine: wall time and peak memory of
// miniSEED -> GSECM6 -> miniSEED and miniSEED -> PSNCM6 -> miniSEED for a long recording.
// Each must take at most twice as long as miniSEED -> SAC and stay well under 32 MiB.
// Usage: bench_cm6 [samples] (default 10 000 000)
#include "BenchSupport.h"

#include <algorithm>
#include <cstdio>
#include <string>

using namespace vibrex;

namespace {

constexpr int kRuns = 3;
constexpr double kMostTimesSac = 2.0;
constexpr long kMostPeakKiB = 32 * 1024;

struct Step {
    const char* name;
    const char* input;
    FileFormat format;
    const char* output;
};

// The shortest of kRuns runs in wall and in CPU time, the least disturbed by whatever else the
// machine is doing, with the highest peak of them all.
bench::Measurement Best(const std::filesystem::path& folder, const Step& step) {
    bench::Measurement best;
    for (int run = 0; run < kRuns; ++run) {
        const auto m = bench::MeasureInChild([&] {
            return bench::ConvertWithVibrex(folder, folder / step.input, step.format,
                                            folder / step.output);
        });
        if (!m.ok) {
            return m;
        }
        best = {run == 0 ? m.seconds : std::min(best.seconds, m.seconds),
                std::max(best.peakKiB, m.peakKiB), true,
                run == 0 ? m.cpuSeconds : std::min(best.cpuSeconds, m.cpuSeconds)};
    }
    return best;
}

double SizeMB(const std::filesystem::path& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0.0 : static_cast<double>(size) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    bench::ScratchFolder scratch;
    const auto& folder = scratch.Path();
    bench::WriteSyntheticPsn(folder / "in.psn", samples);
    if (!bench::ConvertWithVibrex(folder, folder / "in.psn", FileFormat::miniSeed,
                                  folder / "in.mseed")) {
        std::printf("could not make the miniSEED input\n");
        return 1;
    }
    std::printf("%ld samples, best of %d runs; target: wall time at most %.0fx miniSEED -> SAC, "
                "peak under %ld KiB\n",
                samples, kRuns, kMostTimesSac, kMostPeakKiB);
    const Step steps[] = {
        {"miniSEED -> SAC", "in.mseed", FileFormat::SAC, "out.sac"},
        {"miniSEED -> GSECM6", "in.mseed", FileFormat::GSECM6, "out.gse"},
        {"GSECM6 -> miniSEED", "out.gse", FileFormat::miniSeed, "gse.mseed"},
        {"miniSEED -> PSNCM6", "in.mseed", FileFormat::PSNCM6, "out.psn"},
        {"PSNCM6 -> miniSEED", "out.psn", FileFormat::miniSeed, "psn.mseed"},
    };
    bench::Measurement sac;
    bool allMet = true;
    for (const Step& step : steps) {
        const auto m = Best(folder, step);
        if (&step == steps) {
            sac = m;
        }
        const double times = m.seconds / sac.seconds;
        const bool met = m.ok && times <= kMostTimesSac && m.peakKiB < kMostPeakKiB;
        allMet = allMet && met;
        std::printf("  %-20s %6.2f s %5.2fx   cpu %6.2f s %5.2fx   peak %6ld KiB  %s\n", step.name,
                    m.seconds, times, m.cpuSeconds, m.cpuSeconds / sac.cpuSeconds, m.peakKiB,
                    !m.ok ? "FAILED"
                    : met ? "ok"
                          : "TARGET MISSED");
    }
    std::printf("output sizes: GSECM6 %.1f MB, PSNCM6 %.1f MB, SAC %.1f MB\n",
                SizeMB(folder / "out.gse"), SizeMB(folder / "out.psn"), SizeMB(folder / "out.sac"));
    return allMet ? 0 : 1;
}
