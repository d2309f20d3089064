#include "UiTestSupport.h"
#include "engine/HeaderProperties.h"
#include "ui/PreviewPane.h"

#include <QScrollArea>
#include <QSignalSpy>
#include <algorithm>

namespace vibrex::test {
namespace {

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

// Where the trace colour appears: its top and bottom rows, its first and last columns, and how
// many columns hold some.
struct TraceExtent {
    int top = std::numeric_limits<int>::max();
    int bottom = -1;
    int left = -1;
    int right = -1;
    int columns = 0;
    int Height() const { return bottom - top; }
};

// Within the rows from `firstRow` to `lastRow`, or the whole picture.
TraceExtent FindTrace(const QImage& image, int firstRow = 0, int lastRow = -1) {
    TraceExtent extent;
    lastRow = lastRow < 0 ? image.height() - 1 : lastRow;
    for (int x = 0; x < image.width(); ++x) {
        bool inColumn = false;
        for (int y = firstRow; y <= lastRow; ++y) {
            if (image.pixelColor(x, y) == TraceColor()) {
                extent.top = std::min(extent.top, y);
                extent.bottom = std::max(extent.bottom, y);
                inColumn = true;
            }
        }
        if (inColumn) {
            extent.left = extent.left < 0 ? x : extent.left;
            extent.right = x;
            ++extent.columns;
        }
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
    EXPECT_EQ(output[0].envelope.Highest(), input[0].envelope.Highest());
    EXPECT_EQ(Pane().OutputView().Axis().Span(), Pane().InputView().Axis().Span());
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

    // WAV is written, never read: its output gets a plain word, not an error.
    Find<QCheckBox>("ChkShowOutput")->setChecked(true);
    AndWait([&] { Pane().ShowRecording(shortFile, {"/data/short.wav"}); });
    EXPECT_EQ(Pane().OutputView().Notice(),
              "short.wav is a WAV sound file, written for listening: Vibrex writes WAV but does "
              "not read it, so it has no preview.");
    Find<QCheckBox>("ChkShowOutput")->setChecked(false);

    // Removing the file on screen moves the preview to the file that takes its row.
    Drop({WritePsn("first.psn", 30, "FRST"), shortFile.toStdString()});
    SelectRow(0);
    ASSERT_EQ(Shown(Pane().InputView())[0].station, "FRST");
    // The name follows an edit in the header editor.
    prompter.dialogs.push_back([&](QDialog&) {
        engine->SetHeaderProperty(0, 0, kStationCode, "EDIT");
        return static_cast<int>(QDialog::Accepted);
    });
    DoubleClick(0, Model::ColumnFileName);
    EXPECT_EQ(Shown(Pane().InputView())[0].station, "EDIT");
    AndWait([&] { QTest::keyClick(grid, Qt::Key_Delete); });
    ASSERT_EQ(Shown(Pane().InputView()).size(), 1u);
    EXPECT_EQ(Shown(Pane().InputView())[0].station, "SHRT");
}

ChannelPreview Channel(const std::string& start, double rate, std::int64_t samples,
                       const std::function<double(std::int64_t)>& signal,
                       std::size_t buckets = 64) {
    ChannelPreview channel{"VBRX", "HHZ", start, rate, Envelope(buckets)};
    for (std::int64_t i = 0; i < samples; ++i) {
        channel.envelope.Add(signal(i));
    }
    return channel;
}

// One envelope column per device pixel, on a light or a dark palette, and no column missing
// where the signal is flat or quiet: every device pixel column from the trace's first to its
// last holds some of it.
TEST(PreviewPicture, FillsEveryDevicePixelColumnOnAnyPalette) {
    QPalette dark;
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::AlternateBase, QColor(45, 45, 45));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    const auto wave = [](std::int64_t i) { return (i % 200) * ((i / 200) % 2 == 0 ? 1 : -1); };
    // Quiet: a few counts of noise, then a burst that sets the scale.
    const auto quiet = [](std::int64_t i) { return i < 90000 ? i % 3 / 2 : (i % 2) * 5000.0; };
    const auto flat = [](std::int64_t) { return 7.0; };
    struct Case {
        const char* name;
        qreal ratio;
        QPalette palette;
        std::function<double(std::int64_t)> signal;
        std::size_t buckets;
    };
    for (const Case& c :
         {Case{"wave", 1, QPalette(), wave, 64}, Case{"wave", 2, dark, wave, 64},
          Case{"quiet", 1, QPalette(), quiet, 4096}, Case{"quiet", 2, QPalette(), quiet, 4096},
          Case{"flat", 1, dark, flat, 4096}}) {
        SCOPED_TRACE(std::string(c.name) + " at " + std::to_string(c.ratio));
        WaveformPreview preview;
        preview.channels.push_back(
            Channel("2026/03/14 02:47:10.000", 100, 100000, c.signal, c.buckets));
        const QSize size(600, 300);
        QImage image(size * c.ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(c.ratio);
        QPainter painter(&image);
        PaintWaveform(painter, QRect(QPoint(0, 0), size), preview, TimeAxis({&preview}), "a.psn",
                      c.palette);
        painter.end();
        EXPECT_EQ(image.pixelColor(0, image.height() - 1), c.palette.color(QPalette::Base));
        const TraceExtent trace = FindTrace(image);
        EXPECT_EQ(trace.columns, trace.right - trace.left + 1) << "a gap in the line";
        EXPECT_GT(trace.columns, image.width() * 3 / 4);
        if (std::string(c.name) == "wave") {
            EXPECT_GT(trace.Height(), image.height() / 2);
        }
    }
}

// Each trace begins at its own start on one axis from the earliest start to the latest end.
TEST(PreviewPicture, EachTraceStartsWhereItsChannelStartsInTime) {
    struct Case {
        const char* name;
        std::string firstStart;
        std::string secondStart;
        double firstAt; // expected share of the axis where each trace begins
        double secondAt;
    };
    const Case cases[] = {
        {"second 100 s later", "2026/03/14 02:47:10.000", "2026/03/14 02:48:50.000", 0, 0.5},
        {"second 157 s earlier", "1996/06/03 20:02:18.000", "1996/06/03 19:59:41.000", 157.0 / 257,
         0},
        {"across midnight", "2026/12/31 23:59:10.000", "2027/01/01 00:00:50.000", 0, 0.5},
        {"no start time", "", "", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WaveformPreview preview;
        const auto steady = [](std::int64_t i) { return i % 2; };
        preview.channels.push_back(Channel(c.firstStart, 10, 1000, steady));
        preview.channels.push_back(Channel(c.secondStart, 10, 1000, steady));
        WaveformView view;
        view.resize(800, 400);
        view.SetPreview(preview, "two.psn");
        const QImage image = view.grab().toImage();
        const WaveformLayout layout = LayOutWaveform(view.rect(), preview, view.fontMetrics());
        ASSERT_EQ(layout.bands.size(), 2u);
        for (int band = 0; band < 2; ++band) {
            const QRectF& rows = layout.bands[static_cast<std::size_t>(band)];
            const int first =
                FindTrace(image, static_cast<int>(rows.top()), static_cast<int>(rows.bottom()) - 1)
                    .left;
            const double expected =
                layout.plot.left() + (band == 0 ? c.firstAt : c.secondAt) * layout.plot.width();
            EXPECT_NEAR(first, expected, 1.5) << "trace " << band + 1;
        }
    }
}

// Ticks fall on round times of day at every scale; midnight shows the date.
TEST(PreviewPicture, TheAxisIsLabelledInTimeOfDay) {
    struct Case {
        std::string start;
        double rate;
        std::int64_t samples;
        int ticks;
        QString first; // the first two labels
        QString second;
        QString title = {};
    };
    const auto zero = [](std::int64_t) { return 0.0; };
    const Case cases[] = {
        {"2026/03/14 02:47:10.0030", 1000, 10, 5, "02:47:10.004", "02:47:10.006"},
        {"2026/03/14 02:47:10.000", 100, 100, 5, "02:47:10.0", "02:47:10.2",
         "Earliest start 2026/03/14 02:47:10.0000, span 1.000 s"},
        {"2026/03/14 02:47:10.000", 1, 3600, 6, "02:50", "03:00"},
        {"2026/03/14 20:00:00.000", 0.01, 2592, 4, "2026/03/15", "2026/03/16"},
        {"", 100, 1000, 5, "0", "2", "Seconds from each channel's start"},
        {"2026/03/14 02:47:10.000", 0, 1000, 5, "0", "200", "Samples"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.start + " at " + std::to_string(c.rate));
        WaveformPreview preview;
        preview.channels.push_back(Channel(c.start, c.rate, c.samples, zero));
        const TimeAxis axis({&preview});
        const auto ticks = axis.Ticks(c.ticks);
        ASSERT_GE(ticks.size(), 2u);
        EXPECT_LE(ticks.size(), static_cast<std::size_t>(c.ticks) + 1);
        EXPECT_EQ(ticks[0].label, c.first);
        EXPECT_EQ(ticks[1].label, c.second);
        if (!c.title.isEmpty()) {
            EXPECT_EQ(axis.Title(), c.title);
        }
    }
}

// With many channels the view grows taller than its pane and scrolls; no label covers another
// and each trace keeps room for its name and both extremes.
TEST(PreviewPicture, ManyChannelsScrollAndTheirLabelsNeverOverlap) {
    WaveformPreview preview;
    for (int i = 0; i < 24; ++i) {
        preview.channels.push_back(Channel("2026/03/14 02:47:10.000", 100, 500,
                                           [i](std::int64_t s) { return (s % 50) * (i + 1); }));
    }
    QScrollArea pane;
    auto* view = new WaveformView;
    pane.setWidget(view);
    pane.setWidgetResizable(true);
    pane.resize(600, 300);
    view->SetPreview(preview, "24 traces");
    pane.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&pane));
    EXPECT_GT(view->height(), pane.viewport()->height());
    EXPECT_TRUE(pane.verticalScrollBar()->isVisible());
    const WaveformLayout layout = LayOutWaveform(view->rect(), preview, view->fontMetrics());
    ASSERT_EQ(layout.labels.size(), 24u * 3) << "a name and two extremes on every trace";
    EXPECT_LE(layout.plot.bottom(), view->height());
    for (std::size_t i = 0; i < layout.labels.size(); ++i) {
        for (std::size_t j = i + 1; j < layout.labels.size(); ++j) {
            EXPECT_FALSE(layout.labels[i].box.intersects(layout.labels[j].box))
                << layout.labels[i].text.toStdString() << " / "
                << layout.labels[j].text.toStdString();
        }
    }
}

} // namespace
} // namespace vibrex::test
