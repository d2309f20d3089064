// PSN ASCII -> PSN ASCII through the engine: wall time and peak memory for a long recording.
// Usage: bench_psn [samples] (default 10 000 000)
#include "BenchSupport.h"
#include "engine/ClsConverter.h"
#include "formats/FileIO.h"

#include <cstdio>
#include <string>

using namespace vibrex;

namespace {

void WritePsn(const std::filesystem::path& path, long samples) {
    OutputFile out(path);
    out.Line("! PSN ASCII Event File Format 2.0");
    out.Line("Start Time: 2026/01/01 00:00:00.000");
    out.Line("Number of Samples: " + std::to_string(samples));
    out.Line("SPS: 100");
    out.Line("Data: ");
    bench::SyntheticSignal signal;
    for (long i = 0; i < samples; ++i) {
        out.IntegerLine(signal.Next());
    }
    out.Close();
}

bool Convert(const std::filesystem::path& folder) {
    ClsConverter engine(nullptr, folder);
    engine.SetVerbose(false);
    if (!engine.AddFile((folder / "in.psn").string())) {
        return false;
    }
    engine.SetFileOutputFormat(0, FileFormat::PSNINT);
    engine.SetFileOutputPath(0, (folder / "out.psn").string());
    engine.StartConversion();
    return engine.FileStatus(0) == ConversionStatus::Success;
}

} // namespace

int main(int argc, char** argv) {
    const long samples = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    bench::ScratchFolder scratch;
    WritePsn(scratch.Path() / "in.psn", samples);
    std::printf("PSN -> PSN, %ld samples (%.1f MB input)\n", samples,
                std::filesystem::file_size(scratch.Path() / "in.psn") / 1e6);
    for (int run = 0; run < 3; ++run) {
        const auto m = bench::MeasureInChild([&] { return Convert(scratch.Path()); });
        std::printf("  run %d: %.2f s, peak %ld KiB%s\n", run + 1, m.seconds, m.peakKiB,
                    m.ok ? "" : "  (FAILED)");
    }
    return 0;
}
