#include "UiTestSupport.h"
#include "ui/FrmBar.h"
#include "ui/ProgressDelegate.h"

namespace vibrex::test {
namespace {

// The editor's format choice and its edits reach the grid and the engine, which writes them.
TEST_F(MainWindowTest, AHeaderEditReachesTheEngine) {
    Drop({WritePsn("a.psn")});
    ChooseFormat(0, FileFormat::WAV);
    const int station = kStationCode + 0;
    prompter.dialogs.push_back([&](QDialog& dialog) {
        auto* cells = dialog.findChild<QTableWidget*>("GrdHeader");
        EXPECT_EQ(dialog.windowTitle(), "Header properties - a.psn");
        EXPECT_EQ(cells->item(station, 1)->text(), "VBRX");
        // WAV carries no start time: its cell ignores double clicks.
        emit cells->cellDoubleClicked(kStartTime, 1);
        EXPECT_TRUE(prompter.dialogs.empty() && prompter.unscriptedDialogs == 0);

        // Choosing PSN makes the station code editable.
        auto* formats = dialog.findChild<QComboBox*>("CmbFormats");
        const int psn = formats->findData(static_cast<int>(FileFormat::PSNINT));
        formats->setCurrentIndex(psn);
        emit formats->activated(psn);
        prompter.dialogs.push_back([](QDialog& input) {
            auto& box = static_cast<QInputDialog&>(input);
            EXPECT_TRUE(box.labelText().startsWith("!!! Warning !!!\nAn incorrect edit"));
            box.setTextValue("EDIT");
            Accept(box);
        });
        emit cells->cellDoubleClicked(station, 1);
        EXPECT_EQ(cells->item(station, 1)->text(), "EDIT");
        Accept(dialog);
    });
    DoubleClick(0, Model::ColumnFileName);
    EXPECT_EQ(Text(0, Model::ColumnOutputFormat), "PSNINT");
    EXPECT_EQ(engine->HeaderProperty(0, 0, kStationCode), "EDIT");
}

TEST(ProgressWindow, AddsUpTheFilesOfARunAndStopsAtItsMaximum) {
    FrmBar bar;
    bar.Open(200, nullptr);
    auto* progress = bar.findChild<QProgressBar*>("ProgressBar");
    bar.Update(50);
    bar.Update(100);
    bar.Update(30); // the next file starts again from 0
    EXPECT_EQ(progress->value(), 130);
    EXPECT_EQ(bar.windowTitle(), "Conversion in progress - 65%");
    bar.Update(150);
    EXPECT_EQ(progress->value(), 200);
}

// The batch host: the engine opens the progress window itself, and its Abort button stops
// the run.
TEST(ProgressWindow, ItsAbortButtonStopsTheRun) {
    struct AbortingHost final : QtHost {
        void UpdateProgressWindow(std::int64_t value) override {
            QtHost::UpdateProgressWindow(value);
            for (QWidget* window : QApplication::topLevelWidgets()) {
                if (window->objectName() == "FrmBar" && window->isVisible() && value >= 100 &&
                    !std::exchange(clicked, true)) {
                    QTest::mouseClick(window->findChild<QPushButton*>("CmdAbort"), Qt::LeftButton);
                }
            }
        }
        bool clicked = false;
    } host;
    TempFolder folder;
    WriteFile(folder / "a.psn",
              PsnText({"Number of Samples: 500"}, std::vector<std::string>(500, "7")));
    ClsConverter engine(&host, folder.Path());
    engine.SetVerbose(false);
    engine.SetShowUI(true);
    ASSERT_TRUE(engine.AddFile((folder / "a.psn").string()));
    engine.SetFileOutputFormat(0, FileFormat::PSNINT);
    engine.SetFileOutputPath(0, (folder / "b.psn").string());
    engine.StartConversion();
    EXPECT_TRUE(host.clicked);
    EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Aborted);
}

TEST(ProgressCell, TheBarCoversThePercentageOfTheCell) {
    QImage image(200, 20, QImage::Format_RGB32);
    const QColor bar = QColor::fromRgb(kProgressBarColor);
    for (const int percent : {0, 50, 100}) {
        image.fill(Qt::red);
        QPainter painter(&image);
        PaintProgressCell(painter, image.rect(), percent);
        painter.end();
        EXPECT_EQ(image.pixelColor(1, 1), percent == 0 ? QColor(Qt::white) : bar) << percent;
        EXPECT_EQ(image.pixelColor(98, 1), percent >= 50 ? bar : QColor(Qt::white)) << percent;
        EXPECT_EQ(image.pixelColor(101, 1), percent == 100 ? bar : QColor(Qt::white)) << percent;
        EXPECT_EQ(image.pixelColor(199, 19), percent == 100 ? bar : QColor(Qt::white)) << percent;
    }
}

} // namespace
} // namespace vibrex::test
