// The window's waveform preview: wall time, peak memory and the longest stretch between two
// yields to the event loop (how long the window could not take input), for PSN ASCII and
// miniSEED recordings of 10^6 and 10^7 samples.
// Usage: bench_preview [samples ...] (default 1 000 000 and 10 000 000)
#include "BenchSupport.h"
#include "engine/Preview.h"

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace vibrex;

namespace {

using Clock = std::chrono::steady_clock;

// Reads the preview and prints what it took; runs in a child so the peak memory is its own.
bool PreviewAndReport(const std::filesystem::path& folder, const std::filesystem::path& input) {
    ClsConverter engine(nullptr, folder);
    engine.SetVerbose(false);
    auto last = Clock::now();
    std::chrono::duration<double> longestGap{0};
    const PreviewStep step = [&](double) {
        const auto now = Clock::now();
        longestGap = std::max<std::chrono::duration<double>>(longestGap, now - last);
        last = now;
        return true;
    };
    const WaveformPreview preview = PreviewRecording(engine, input, step);
    const auto drawStart = Clock::now();
    const std::int64_t samples =
        preview.channels.empty() ? 0 : preview.channels[0].envelope.Count();
    const auto columns =
        preview.channels.empty() ? 0 : preview.channels[0].envelope.Columns(1920).size();
    const std::chrono::duration<double> columnTime = Clock::now() - drawStart;
    std::printf("    %lld samples folded; longest stretch without a yield %.3f s; 1920 columns "
                "from the envelope in %.6f s\n",
                static_cast<long long>(samples), longestGap.count(), columnTime.count());
    std::fflush(stdout);
    return preview.outcome == WaveformPreview::Outcome::Complete && columns == 1920;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<long> counts;
    for (int i = 1; i < argc; ++i) {
        counts.push_back(std::atol(argv[i]));
    }
    if (counts.empty()) {
        counts = {1'000'000, 10'000'000};
    }
    for (const long samples : counts) {
        bench::ScratchFolder scratch;
        const auto psn = scratch.Path() / "in.psn";
        const auto mseed = scratch.Path() / "in.mseed";
        bench::WriteSyntheticPsn(psn, samples);
        if (!bench::ConvertWithVibrex(scratch.Path(), psn, FileFormat::miniSeed, mseed)) {
            std::printf("could not write the miniSEED input\n");
            return 1;
        }
        for (const auto& input : {psn, mseed}) {
            std::printf("Preview of %s, %ld samples (%.1f MB)\n", input.extension().c_str(),
                        samples, std::filesystem::file_size(input) / 1e6);
            std::fflush(stdout); // the child's output follows, not a copy of this
            const auto m =
                bench::MeasureInChild([&] { return PreviewAndReport(scratch.Path(), input); });
            std::printf("    %.2f s, peak %ld KiB%s\n", m.seconds, m.peakKiB,
                        m.ok ? "" : "  (FAILED)");
        }
    }
    return 0;
}
