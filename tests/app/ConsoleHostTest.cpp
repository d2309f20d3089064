#include "app/ConsoleHost.h"

#include <gtest/gtest.h>

namespace vibrex::test {
namespace {

// Work units count each sample twice (read and written): 200 units are 100 samples. A line
// must stay narrower than the terminal, or it wraps and every redraw leaves a line behind.
TEST(ProgressLine, ShowsPercentRateAndTimeLeftWithinTheWidth) {
    const std::string name = "2010.057.20.30.26.5356.IC.BJT.00.LHZ.R.SAC";
    // label, work done, total work, seconds, terminal width, line
    const std::tuple<std::string, std::int64_t, std::int64_t, double, int, std::string> cases[] = {
        {"a.psn", 0, 200, 1.0, 80, "a.psn    0%  -- samples/s  --:-- left"},
        {"a.psn", 50, 200, 0.0, 80, "a.psn   25%  -- samples/s  --:-- left"},
        {"a.psn", 100, 200, 1.0, 80, "a.psn   50%  50 samples/s  0:01 left"},
        {"a.psn", 2000, 4000, 1.0, 80, "a.psn   50%  1.0 k samples/s  0:01 left"},
        {"a.psn", 2000000, 20000000, 1.0, 80, "a.psn   10%  1.0 M samples/s  0:09 left"},
        {"a.psn", 1000, 3601000, 1.0, 80, "a.psn    0%  500 samples/s  1:00:00 left"},
        {"a.psn", 1000, 122000, 1.0, 80, "a.psn    0%  500 samples/s  2:01 left"},
        {name, 6000, 6000, 2.0, 80, name + "  100%  1.5 k samples/s  0:00 left"},
        {name, 6000, 6000, 2.0, 60, "...56.IC.BJT.00.LHZ.R.SAC  100%  1.5 k samples/s  0:00 left"},
        {"abc\xC3\xBCx.psn", 0, 200, 0.0, 43, "abc\xC3\xBCx.psn    0%  -- samples/s  --:-- left"},
        {"abc\xC3\xBCx.psn", 0, 200, 0.0, 42, "...x.psn    0%  -- samples/s  --:-- left"},
        {name, 0, 200, 0.0, 35, "..    0%  -- samples/s  --:-- left"},
        {name, 0, 200, 0.0, 10, "    0%  -- samples/s  --:-- left"},
    };
    for (const auto& [label, done, total, seconds, width, line] : cases) {
        EXPECT_EQ(ProgressLine(label, done, total, seconds, width), line)
            << done << " of " << total << " in " << seconds << " s, " << width;
    }
}

} // namespace
} // namespace vibrex::test
