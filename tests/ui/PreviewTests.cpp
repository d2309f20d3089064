#include "UiTestSupport.h"
#include "ui/PreviewPane.h"

#include <QCheckBox>
#include <QImage>
#include <QPainter>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <cstring>
#include <gtest/gtest.h>

namespace vibrex::test {
namespace {

using Model = FileTableModel;

class Preview : public ::testing::Test, protected MainWindowTest {
protected:
    PreviewPane& Pane() const { return *Find<PreviewPane>("PreviewPane"); }

    // Runs `action` and waits until the pane has shown, or given up, everything asked of it.
    template <typename Action> void AndWait(Action action) {
        QSignalSpy finished(&Pane(), &PreviewPane::Finished);
        action();
        ASSERT_TRUE(finished.wait(20000)) << "the preview never finished";
    }
    void SelectRow(int row) {
        AndWait([&] { grid->setCurrentIndex(Cell(row, Model::ColumnFileName)); });
    }
    const std::vector<ChannelPreview>& Shown(const WaveformView& view) const {
        return view.Preview().channels;
    }
};

struct Extremes {
    float lowest;
    float highest;
};

// A little-endian SAC file's samples are the 4-byte floats after its 632-byte header.
Extremes SacExtremes(const std::filesystem::path& path) {
    const std::string bytes = ReadFile(path);
    Extremes extremes{std::numeric_limits<float>::max(), std::numeric_limits<float>::lowest()};
    for (std::size_t at = 632; at + 4 <= bytes.size(); at += 4) {
        float sample = 0;
        std::memcpy(&sample, bytes.data() + at, 4);
        extremes.lowest = std::min(extremes.lowest, sample);
        extremes.highest = std::max(extremes.highest, sample);
    }
    return extremes;
}

// Where the trace colour appears: its top and bottom rows, and how many columns hold some.
struct TraceExtent {
    int top = std::numeric_limits<int>::max();
    int bottom = -1;
    int columns = 0;
    int Height() const { return bottom - top; }
};

TraceExtent FindTrace(const QImage& image) {
    TraceExtent extent;
    for (int x = 0; x < image.width(); ++x) {
        bool inColumn = false;
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixelColor(x, y) == TraceColor()) {
                extent.top = std::min(extent.top, y);
                extent.bottom = std::max(extent.bottom, y);
                inColumn = true;
            }
        }
        extent.columns += inColumn ? 1 : 0;
    }
    return extent;
}

TEST_F(Preview, ARealRecordingDrawsOneTraceBetweenItsExtremesAndItsOutputMatches) {
    const auto testData = TestDataFolder();
    const auto file = testData / "sac" / "2010.057.20.30.26.5356.IC.BJT.00.LHZ.R.SAC";
    if (testData.empty() || !std::filesystem::exists(file)) {
        GTEST_SKIP() << "the real recordings are not beside the checkout";
    }
    Drop({file.string()});
    SelectRow(0);
    const auto& input = Shown(Pane().InputView());
    ASSERT_EQ(input.size(), 1u) << Pane().InputView().Notice().toStdString();
    EXPECT_EQ(input[0].component, "LHZ");
    EXPECT_EQ(input[0].envelope.Count(), 6140);
    const Extremes extremes = SacExtremes(file);
    EXPECT_EQ(static_cast<float>(input[0].envelope.Lowest()), extremes.lowest);
    EXPECT_EQ(static_cast<float>(input[0].envelope.Highest()), extremes.highest);
    // The envelope spans its band: the extremes touch the band's edges.
    const QImage picture = Find<WaveformView>("WaveInput")->grab().toImage();
    EXPECT_GT(FindTrace(picture).Height(), picture.height() / 2);

    // Converted to PSN ASCII, the output beside the input shows the same signal.
    auto* showOutput = Find<QCheckBox>("ChkShowOutput");
    EXPECT_FALSE(showOutput->isEnabled());
    ChooseFormat(0, FileFormat::PSNINT);
    NameOutputs("_out");
    AndWait([&] { Click("CmdConvert"); });
    ASSERT_EQ(Text(0, Model::ColumnStatus), "Success");
    ASSERT_TRUE(showOutput->isEnabled());
    AndWait([&] { showOutput->setChecked(true); });
    const auto& output = Shown(Pane().OutputView());
    ASSERT_EQ(output.size(), 1u) << Pane().OutputView().Notice().toStdString();
    EXPECT_TRUE(Pane().OutputView().isVisible());
    EXPECT_EQ(output[0].envelope.Count(), input[0].envelope.Count());
    EXPECT_EQ(output[0].envelope.Lowest(), input[0].envelope.Lowest());
    EXPECT_EQ(output[0].envelope.Highest(), input[0].envelope.Highest());
}

TEST_F(Preview, AnotherSelectionStopsALongReadingAndAFileThatCannotBeReadSaysWhy) {
    const auto longFile = QString::fromStdString(WritePsn("long.psn", 400000, "LONG"));
    const auto shortFile = QString::fromStdString(WritePsn("short.psn", 30, "SHRT"));
    QStringList shown;
    QObject::connect(&Pane(), &PreviewPane::Shown, [&](const QString& path) { shown << path; });
    // The first progress step of the long file is where the user picks the short one.
    auto* progress = Find<QProgressBar>("PrgPreview");
    bool midway = false;
    QObject::connect(progress, &QProgressBar::valueChanged, [&](int value) {
        if (value > 0 && !midway) {
            midway = true;
            EXPECT_TRUE(Pane().Busy());
            EXPECT_EQ(Pane().InputView().Notice(), "Reading...");
            Pane().ShowRecording(shortFile);
        }
    });
    AndWait([&] { Pane().ShowRecording(longFile); });
    EXPECT_TRUE(midway);
    EXPECT_EQ(shown, QStringList{shortFile});
    ASSERT_EQ(Shown(Pane().InputView()).size(), 1u);
    EXPECT_EQ(Shown(Pane().InputView())[0].station, "SHRT");
    EXPECT_FALSE(progress->isVisible());

    WriteFile(folder / "notes.txt", "not a recording\r\n");
    AndWait([&] { Pane().ShowRecording(QString::fromStdString((folder / "notes.txt").string())); });
    EXPECT_EQ(Pane().InputView().Notice(), "No preview of notes.txt:\nUnrecognized file format.");
    EXPECT_TRUE(Shown(Pane().InputView()).empty());

    // Removing the file on screen moves the preview to the file that takes its row.
    Drop({WritePsn("first.psn", 30, "FRST"), shortFile.toStdString()});
    SelectRow(0);
    ASSERT_EQ(Shown(Pane().InputView())[0].station, "FRST");
    AndWait([&] { QTest::keyClick(grid, Qt::Key_Delete); });
    ASSERT_EQ(Shown(Pane().InputView()).size(), 1u);
    EXPECT_EQ(Shown(Pane().InputView())[0].station, "SHRT");
}

// One envelope column per device pixel, on a light or a dark palette, so that a HiDPI screen
// gets its full detail and the background is the palette's own.
TEST(PreviewPicture, FillsEveryDevicePixelColumnOnAnyPalette) {
    WaveformPreview preview;
    preview.channels.push_back({"VBRX", "HHZ", "2026/03/14 02:47:10.000", 100, Envelope(64)});
    for (int i = 0; i < 100000; ++i) {
        preview.channels[0].envelope.Add((i % 200) * ((i / 200) % 2 == 0 ? 1 : -1));
    }
    QPalette dark;
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::AlternateBase, QColor(45, 45, 45));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    struct Case {
        qreal ratio;
        QPalette palette;
    };
    for (const Case& c : {Case{1, QPalette()}, Case{2, QPalette()}, Case{2, dark}}) {
        SCOPED_TRACE(c.ratio);
        const QSize size(600, 300);
        QImage image(size * c.ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(c.ratio);
        QPainter painter(&image);
        PaintWaveform(painter, QRect(QPoint(0, 0), size), preview, "a.psn", c.palette);
        painter.end();
        EXPECT_EQ(image.pixelColor(0, image.height() - 1), c.palette.color(QPalette::Base));
        // The plot takes most of the width; each of its device pixel columns holds the trace.
        const TraceExtent trace = FindTrace(image);
        EXPECT_GT(trace.columns, image.width() * 3 / 4);
        EXPECT_GT(trace.Height(), image.height() / 2);
    }
}

} // namespace
} // namespace vibrex::test
