#include "UiTestSupport.h"
#include "ui/PreviewPane.h"

#include <set>

namespace vibrex::test {
namespace {

class Preview : public MainWindowTest {
protected:
    PreviewPane& Pane() const { return *Find<PreviewPane>("PreviewPane"); }

    // Runs `action` and waits until the pane has shown, or given up, everything asked of it.
    template <typename Action> void AndWait(Action action) {
        QSignalSpy finished(&Pane(), &PreviewPane::Finished);
        action();
        ASSERT_TRUE(finished.wait(20000)) << "the preview never finished";
    }
    // The station of each trace the input view draws.
    std::vector<std::string> InputStations() const {
        std::vector<std::string> stations;
        for (const ChannelPreview& channel : Pane().InputView().Preview().channels) {
            stations.push_back(channel.station);
        }
        return stations;
    }
};

// The box around the trace colour, and how many pixel columns hold some of it.
std::pair<QRect, int> FindTrace(const QImage& image) {
    QRect box;
    std::set<int> columns;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixelColor(x, y) == TraceColor()) {
                box |= QRect(x, y, 1, 1);
                columns.insert(x);
            }
        }
    }
    return {box, static_cast<int>(columns.size())};
}

// After a run, "Show output beside input" draws what was written next to the input, on the
// input's time axis.
TEST_F(Preview, AfterARunTheOutputIsDrawnBesideTheInput) {
    ReadyToConvert({WritePsn("a.psn", 3000)}, FileFormat::PSNINT);
    AndWait([&] { grid->setCurrentIndex(Cell(0, Model::ColumnFileName)); });
    auto* showOutput = Find<QCheckBox>("ChkShowOutput");
    EXPECT_FALSE(showOutput->isEnabled());
    AndWait([&] { Click("CmdConvert"); });
    ASSERT_EQ(Text(0, Model::ColumnStatus), "Success");
    ASSERT_TRUE(showOutput->isEnabled());
    AndWait([&] { showOutput->setChecked(true); });
    const auto& input = Pane().InputView().Preview().channels;
    const auto& output = Pane().OutputView().Preview().channels;
    ASSERT_EQ(output.size(), 1u) << Pane().OutputView().Notice().toStdString();
    EXPECT_TRUE(Pane().OutputView().isVisible());
    EXPECT_EQ(output[0].envelope.Count(), input[0].envelope.Count());
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
            EXPECT_EQ(Pane().InputView().Notice(), "Reading...");
            Pane().ShowRecording(shortFile);
        }
    });
    AndWait([&] { Pane().ShowRecording(longFile); });
    EXPECT_TRUE(midway);
    EXPECT_EQ(shown, QStringList{shortFile});
    EXPECT_EQ(InputStations(), std::vector<std::string>{"SHRT"});

    WriteFile(folder / "notes.txt", "not a recording\r\n");
    AndWait([&] { Pane().ShowRecording(QString::fromStdString((folder / "notes.txt").string())); });
    EXPECT_EQ(Pane().InputView().Notice(), "No preview of notes.txt:\nUnrecognized file format.");
    EXPECT_TRUE(InputStations().empty());

    // WAV is written, never read: its output gets a plain word, not an error.
    Find<QCheckBox>("ChkShowOutput")->setChecked(true);
    AndWait([&] { Pane().ShowRecording(shortFile, {"/data/short.wav"}); });
    EXPECT_TRUE(Pane().OutputView().Notice().startsWith("short.wav is a WAV sound file"));
    Find<QCheckBox>("ChkShowOutput")->setChecked(false);

    // Delete takes the current file out and the current row number stays: the preview moves to
    // the file that takes its row.
    Drop({WritePsn("zero.psn"), WritePsn("first.psn", 30, "FRST"), shortFile.toStdString()});
    AndWait([&] { grid->setCurrentIndex(Cell(1, Model::ColumnFileName)); });
    ASSERT_EQ(InputStations(), std::vector<std::string>{"FRST"});
    // The name follows an edit in the header editor.
    prompter.dialogs.push_back(
        [&](QDialog&) { engine->SetHeaderProperty(1, 0, kStationCode, "EDIT"); });
    DoubleClick(1, Model::ColumnFileName);
    EXPECT_EQ(InputStations(), std::vector<std::string>{"EDIT"});
    AndWait([&] { QTest::keyClick(grid, Qt::Key_Delete); });
    EXPECT_EQ(grid->model()->rowCount(), 2);
    EXPECT_EQ(InputStations(), std::vector<std::string>{"SHRT"});
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

// One envelope column per device pixel, and no column missing where the signal is flat or
// quiet: every device pixel column from the trace's first to its last holds some of it.
TEST(PreviewPicture, FillsEveryDevicePixelColumn) {
    const std::function<double(std::int64_t)> wave = [](std::int64_t i) {
        return (i % 200) * ((i / 200) % 2 == 0 ? 1 : -1);
    };
    // Quiet: a few counts of noise, then a burst that sets the scale.
    const auto quiet = [](std::int64_t i) { return i < 90000 ? i % 3 / 2 : (i % 2) * 5000.0; };
    const auto flat = [](std::int64_t) { return 7.0; };
    // Signal, device pixel ratio, envelope buckets (fewer or more than the columns).
    for (const auto& [name, signal, ratio, buckets] : {std::tuple{"wave", wave, 1.0, 64},
                                                       {"wave", wave, 2.0, 64},
                                                       {"quiet", quiet, 2.0, 4096},
                                                       {"flat", flat, 1.0, 4096}}) {
        SCOPED_TRACE(std::string(name) + " at " + std::to_string(ratio));
        WaveformPreview preview;
        preview.channels.push_back(Channel("2026/03/14 02:47:10.000", 100, 100000, signal,
                                           static_cast<std::size_t>(buckets)));
        QImage image(QSize(600, 300) * ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        QPainter painter(&image);
        PaintWaveform(painter, QRect(0, 0, 600, 300), preview, TimeAxis({&preview}), "a.psn",
                      QPalette());
        painter.end();
        const auto [trace, columns] = FindTrace(image);
        EXPECT_EQ(columns, trace.width()) << "a gap in the line";
        EXPECT_GT(columns, image.width() * 3 / 4);
        if (std::string(name) == "wave") {
            EXPECT_GT(trace.height(), image.height() / 2);
        }
    }
}

// Each trace begins at its own start on one axis from the earliest start to the latest end.
TEST(PreviewPicture, EachTraceStartsWhereItsChannelStartsInTime) {
    // The two channels' starts, and the share of the axis where each trace begins.
    for (const auto& [firstStart, secondStart, firstAt, secondAt] :
         {std::tuple{"2026/03/14 02:47:10.000", "2026/03/14 02:48:50.000", 0.0, 0.5},
          {"1996/06/03 20:02:18.000", "1996/06/03 19:59:41.000", 157.0 / 257, 0.0},
          {"2026/12/31 23:59:10.000", "2027/01/01 00:00:50.000", 0.0, 0.5}, // across midnight
          {"", "", 0.0, 0.0}}) {
        SCOPED_TRACE(firstStart);
        WaveformPreview preview;
        const auto steady = [](std::int64_t i) { return i % 2; };
        preview.channels.push_back(Channel(firstStart, 10, 1000, steady));
        preview.channels.push_back(Channel(secondStart, 10, 1000, steady));
        WaveformView view;
        view.resize(800, 400);
        view.SetPreview(preview, "two.psn");
        const QImage image = view.grab().toImage();
        const WaveformLayout layout = LayOutWaveform(view.rect(), preview, view.fontMetrics());
        ASSERT_EQ(layout.bands.size(), 2u);
        for (const auto& [band, at] : {std::pair{0, firstAt}, {1, secondAt}}) {
            const QRect rows = layout.bands[static_cast<std::size_t>(band)].toRect();
            EXPECT_NEAR(rows.left() + FindTrace(image.copy(rows)).first.left(),
                        layout.plot.left() + at * layout.plot.width(), 1.5)
                << "trace " << band + 1;
        }
    }
}

// Ticks fall on round times of day at every scale; midnight shows the date.
TEST(PreviewPicture, TheAxisIsLabelledInTimeOfDay) {
    // The start, rate and samples of the channel; how many ticks are asked for, the first two
    // labels, and the axis's title when it matters.
    using Case = std::tuple<std::string, double, std::int64_t, int, QString, QString, QString>;
    const Case cases[] = {
        {"2026/03/14 02:47:10.0030", 1000, 10, 5, "02:47:10.004", "02:47:10.006", ""},
        {"2026/03/14 02:47:10.000", 100, 100, 5, "02:47:10.0", "02:47:10.2",
         "Earliest start 2026/03/14 02:47:10.0000, span 1.000 s"},
        {"2026/03/14 02:47:10.000", 1, 3600, 6, "02:50", "03:00", ""},
        {"2026/03/14 20:00:00.000", 0.01, 2592, 4, "2026/03/15", "2026/03/16", ""},
        {"", 100, 1000, 5, "0", "2", "Seconds from each channel's start"},
        {"2026/03/14 02:47:10.000", 0, 1000, 5, "0", "200", "Samples"},
    };
    for (const auto& [start, rate, samples, count, first, second, title] : cases) {
        SCOPED_TRACE(start + " at " + std::to_string(rate));
        WaveformPreview preview;
        preview.channels.push_back(Channel(start, rate, samples, [](std::int64_t) { return 0; }));
        const TimeAxis axis({&preview});
        const auto ticks = axis.Ticks(count);
        ASSERT_GE(ticks.size(), 2u);
        EXPECT_LE(ticks.size(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(ticks[0].label, first);
        EXPECT_EQ(ticks[1].label, second);
        if (!title.isEmpty()) {
            EXPECT_EQ(axis.Title(), title);
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
    const WaveformLayout layout = LayOutWaveform(view->rect(), preview, view->fontMetrics());
    ASSERT_EQ(layout.labels.size(), 24u * 3) << "a name and two extremes on every trace";
    EXPECT_LE(layout.plot.bottom(), view->height());
    for (auto label = layout.labels.begin(); label != layout.labels.end(); ++label) {
        EXPECT_TRUE(std::none_of(label + 1, layout.labels.end(), [&](const auto& other) {
            return other.box.intersects(label->box);
        })) << label->text.toStdString();
    }
}

} // namespace
} // namespace vibrex::test
