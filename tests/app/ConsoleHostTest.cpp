#include "app/ConsoleHost.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

// Work units count each sample twice (read and written): 200 units are 100 samples.
TEST(ProgressLine, ShowsPercentRateAndTimeLeft) {
    struct Case {
        std::int64_t done;
        std::int64_t total;
        double seconds;
        std::string line;
    };
    const std::vector<Case> cases = {
        {0, 200, 0.0, "a.psn    0%  -- samples/s  --:-- left"},
        {50, 200, 0.0, "a.psn   25%  -- samples/s  --:-- left"},
        {100, 200, 1.0, "a.psn   50%  50 samples/s  0:01 left"},
        {3000, 6000, 1.0, "a.psn   50%  1.5 k samples/s  0:01 left"},
        {4000000, 40000000, 1.0, "a.psn   10%  2.0 M samples/s  0:09 left"},
        {1000, 3601000, 1.0, "a.psn    0%  500 samples/s  1:00:00 left"},
        {1000, 151000, 1.0, "a.psn    0%  500 samples/s  2:30 left"},
        {6000, 6000, 2.0, "a.psn  100%  1.5 k samples/s  0:00 left"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ProgressLine("a.psn", c.done, c.total, c.seconds), c.line)
            << c.done << " of " << c.total << " in " << c.seconds << " s";
    }
}

TEST(ConsoleHost, WritesNothingWhenTheStreamIsNoTerminal) {
    std::FILE* stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    {
        ConsoleHost host(stream);
        host.OpenProgressWindow(200);
        host.UpdateProgressWindow(100);
        host.CloseProgressWindow();
    }
    EXPECT_EQ(std::ftell(stream), 0);
    std::fclose(stream);
}

} // namespace
} // namespace vibrex
