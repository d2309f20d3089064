// PSN ASCII -> PSN ASCII through the engine: wall time and peak memory for a long recording.
// Usage: bench_psn [samples] (default 10 000 000)
#include "BenchSupport.h"

#include <cstdio>
#include <string>

using namespace vibrex;

int main(int argc, char** argv) {
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    bench::ScratchFolder scratch;
    bench::WriteSyntheticPsn(scratch.Path() / "in.psn", samples);
    std::printf("PSN -> PSN, %ld samples (%.1f MB input)\n", samples,
                std::filesystem::file_size(scratch.Path() / "in.psn") / 1e6);
    for (int run = 0; run < 3; ++run) {
        const auto m = bench::MeasureInChild([&] {
            return bench::ConvertWithVibrex(scratch.Path(), scratch.Path() / "in.psn",
                                            FileFormat::PSNINT, scratch.Path() / "out.psn");
        });
        std::printf("  run %d: %.2f s, peak %ld KiB%s\n", run + 1, m.seconds, m.peakKiB,
                    m.ok ? "" : "  (FAILED)");
    }
    return 0;
}
