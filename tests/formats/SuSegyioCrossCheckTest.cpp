#include "formats/ConversionTest.h"
#include "io/Numbers.h"

// segyio, an independent reader of Seismic Unix files (Debian's python3-segyio, installed by
// scripts/setup.sh --tests), reads every SU file Vibrex writes with our samples,
// counts and intervals.
namespace vibrex::test {
namespace {

// Debian's package belongs to Debian's interpreter, whatever python3 comes first on the path.
constexpr const char* kPython = "/usr/bin/python3";

// One line per trace: sample count, interval in microseconds, offset, then every sample.
constexpr const char* kDumpScript = R"(
import sys, segyio
with segyio.su.open(sys.argv[1], ignore_geometry=True, endian='little') as f:
    for i in range(f.tracecount):
        h = f.header[i]
        fields = [h[segyio.TraceField.TRACE_SAMPLE_COUNT],
                  h[segyio.TraceField.TRACE_SAMPLE_INTERVAL], h[segyio.TraceField.offset]]
        print(' '.join(str(v) for v in fields + [repr(float(x)) for x in f.trace[i]]))
)";

struct Trace {
    std::vector<std::string> samples;
    std::string rate;
    std::string expectedInterval;
};

using SuSegyioCrossCheck = ConversionTest;

// A single trace of floats segyio must see bit for bit, three traces of their own rates merged
// into one file, and the longest trace SU takes.
TEST_F(SuSegyioCrossCheck, SegyioReadsWhatWeWrite) {
    if (std::system((std::string(kPython) + " -c 'import segyio' 2>/dev/null").c_str()) != 0) {
        GTEST_SKIP() << "python3-segyio is not installed (scripts/setup.sh --tests installs it)";
    }
    const auto script = Input("dump.py", kDumpScript);
    const std::vector<std::vector<Trace>> files = {
        {{{"0.1", "1e-45", "-3.4028235e+38", "16777217", "123456.79", "-2.5e-07", "7"},
          "4000",
          "250"}},
        {{{"1", "-2", "3"}, "100", "10000"},
         {{"4.5", "5", "-6"}, "1000", "1000"},
         {{"7", "8", "9.25"}, "20", "50000"}},
        {{Texts(RandomWalk(32767, 24, 12)), "62.5", "16000"}},
    };
    for (const auto& traces : files) {
        std::vector<std::filesystem::path> inputs;
        for (const Trace& trace : traces) {
            inputs.push_back(
                Input("t" + std::to_string(inputs.size()) + ".psn",
                      PsnText({"SPS: " + trace.rate, "Offset: " + std::to_string(inputs.size() * 5),
                               "Start Time: 2021/07/04 12:34:56",
                               "Number of Samples: " + std::to_string(trace.samples.size())},
                              trace.samples)));
        }
        ASSERT_EQ(Merge(inputs, FileFormat::SU, m_folder / "out.su"), ConversionStatus::Success);
        std::istringstream lines(CommandOutput(std::string(kPython) + " " + script.string() + " " +
                                               (m_folder / "out.su").string()));
        for (std::size_t i = 0; i < traces.size(); ++i) {
            std::string line;
            ASSERT_TRUE(std::getline(lines, line)) << "segyio read fewer traces";
            std::istringstream fields(line);
            std::string count, interval, offset;
            fields >> count >> interval >> offset;
            EXPECT_EQ(count, std::to_string(traces[i].samples.size()));
            // segyio takes the interval as signed: above 32767 microseconds it shows the same
            // sixteen bits as a negative number.
            EXPECT_EQ(std::to_string((std::stoi(interval) + 65536) % 65536),
                      traces[i].expectedInterval);
            EXPECT_EQ(offset, std::to_string(i * 5));
            for (const std::string& sample : traces[i].samples) {
                std::string seen;
                fields >> seen;
                EXPECT_EQ(std::stod(seen), static_cast<double>(*ParseFloat(sample))) << sample;
            }
        }
    }
}

} // namespace
} // namespace vibrex::test
