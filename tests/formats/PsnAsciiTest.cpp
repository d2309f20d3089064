#include "formats/ConversionTest.h"

namespace vibrex::test {
namespace {

using Psn = ConversionTest;

// The samples are copied as written, the header values under a fresh header; with inversion
// each sample is negated once, as the kind of number it was written as.
TEST_F(Psn, SamplesCopyTextuallyOrInvertedOnce) {
    const std::vector<std::string> samples = {"12",       "-3.5",        "0",           "1e3",
                                              "0.000001", "-2147483648", "99999999999", "2.5e-7"};
    const auto input =
        Input("in.psn", PsnText({"Number of Samples: 8", "SPS: 20.5", "Comment: a, b"}, samples));
    Converted(input, FileFormat::PSNINT, m_folder / "out.psn");
    EXPECT_EQ(DataLines(m_folder / "out.psn"), samples);
    const auto lines = ReadLines(m_folder / "out.psn");
    EXPECT_EQ((std::vector{lines[3], lines[6], lines[34]}),
              (std::vector<std::string>{"SPS: 20.5", "Comment: a, b", "File Format: PSNINT"}));

    Converted(input, FileFormat::PSNINT, m_folder / "inverted.psn", true);
    EXPECT_EQ(DataLines(m_folder / "inverted.psn"),
              (std::vector<std::string>{"-12", "3.5", "0", "-1000", "-1e-06", "2147483648",
                                        "-99999999999", "-2.5e-07"}));
}

} // namespace
} // namespace vibrex::test
