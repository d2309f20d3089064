// miniSEED to and from SEG2, SU and Seisan through the engine, beside miniSEED -> SAC: wall time,
// time per sample and peak memory of each step, and a three-channel merge into Seisan.
// Usage: bench_multichannel [samples] (default 10 000 000; Seisan takes 9 000 000 of them, the
// most its channel header counts being 9 999 999, and SU a merge of 300 traces of 32 767)
#include "BenchSupport.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace vibrex;

namespace {

constexpr long kSuTraces = 300;
constexpr long kSuTraceSamples = 32767;
constexpr long kSeisanMaxSamples = 9'999'999;

class Bench {
public:
    explicit Bench(const std::filesystem::path& folder) : m_folder(folder) {}

    // A miniSEED recording of the synthetic signal, made through PSN text (not timed).
    std::filesystem::path MiniSeed(const std::string& name, long samples) {
        const auto psn = m_folder / (name + ".psn");
        const auto mseed = m_folder / (name + ".mseed");
        bench::WriteSyntheticPsn(psn, samples);
        if (!bench::ConvertWithVibrex(m_folder, psn, FileFormat::miniSeed, mseed)) {
            std::fprintf(stderr, "could not make %s\n", mseed.c_str());
            std::exit(1);
        }
        std::filesystem::remove(psn);
        return mseed;
    }

    // Runs `work` twice and prints the faster run; the first step printed is the yardstick of
    // the ratio column.
    void Step(const char* name, long samples, const std::function<bool()>& work) {
        bench::Measurement best;
        for (int run = 0; run < 2; ++run) {
            const auto m = bench::MeasureInChild(work);
            if (run == 0 || m.seconds < best.seconds) {
                best = m;
            }
        }
        const double perSample = best.seconds * 1e9 / static_cast<double>(samples);
        if (m_yardstick == 0) {
            m_yardstick = perSample;
        }
        std::printf("%-34s %10ld %8.2f s %7.1f ns %6.2fx %8.1f MiB%s\n", name, samples,
                    best.seconds, perSample, perSample / m_yardstick, best.peakKiB / 1024.0,
                    best.ok ? "" : "  FAILED");
        std::fflush(stdout);
    }

    bool Convert(const std::filesystem::path& input, FileFormat format,
                 const std::string& output) const {
        return bench::ConvertWithVibrex(m_folder, input, format, m_folder / output);
    }
    bool Merge(const std::vector<std::filesystem::path>& inputs, FileFormat format,
               const std::string& output) const {
        return bench::MergeWithVibrex(m_folder, inputs, format, m_folder / output);
    }
    std::filesystem::path Path(const std::string& name) const { return m_folder / name; }

private:
    std::filesystem::path m_folder;
    double m_yardstick = 0;
};

} // namespace

int main(int argc, char** argv) {
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    const long seisanSamples = std::min(samples * 9 / 10, kSeisanMaxSamples);
    bench::ScratchFolder scratch;
    Bench bench(scratch.Path());
    std::printf("Preparing the miniSEED inputs...\n");
    const auto recording = bench.MiniSeed("long", samples);
    const auto seisan = bench.MiniSeed("seisan", seisanSamples);
    const auto widest = bench.MiniSeed("widest", std::min(samples, kSeisanMaxSamples));
    std::vector<std::filesystem::path> three;
    for (const char* name : {"e.mseed", "n.mseed", "z.mseed"}) {
        std::filesystem::copy_file(widest, bench.Path(name));
        three.push_back(bench.Path(name));
    }
    std::vector<std::filesystem::path> traces;
    traces.push_back(bench.MiniSeed("trace0", kSuTraceSamples));
    for (long trace = 1; trace < kSuTraces; ++trace) {
        traces.push_back(bench.Path("trace" + std::to_string(trace) + ".mseed"));
        std::filesystem::copy_file(traces.front(), traces.back());
    }
    const long suSamples = kSuTraces * kSuTraceSamples;

    std::printf("%-34s %10s %10s %10s %7s %12s\n", "step", "samples", "wall", "per sample", "ratio",
                "peak memory");
    bench.Step("miniSEED -> SAC", samples,
               [&] { return bench.Convert(recording, FileFormat::SAC, "out.sac"); });
    bench.Step("miniSEED -> SEG2", samples,
               [&] { return bench.Convert(recording, FileFormat::SEG2, "out.seg2"); });
    bench.Step("SEG2 -> miniSEED", samples, [&] {
        return bench.Convert(bench.Path("out.seg2"), FileFormat::miniSeed, "seg2.mseed");
    });
    bench.Step("miniSEED -> Seisan", seisanSamples,
               [&] { return bench.Convert(seisan, FileFormat::Seisan, "out.seisan"); });
    bench.Step("Seisan -> miniSEED", seisanSamples, [&] {
        return bench.Convert(bench.Path("out.seisan"), FileFormat::miniSeed, "seisan.mseed");
    });
    bench.Step("miniSEED x 300 -> SU (merge)", suSamples,
               [&] { return bench.Merge(traces, FileFormat::SU, "out.su"); });
    bench.Step("SU -> miniSEED x 300", suSamples, [&] {
        return bench.Convert(bench.Path("out.su"), FileFormat::miniSeed, "su.mseed");
    });
    bench.Step("miniSEED x 3 -> Seisan (merge)", 3 * std::min(samples, kSeisanMaxSamples),
               [&] { return bench.Merge(three, FileFormat::Seisan, "three.seisan"); });
    return 0;
}
