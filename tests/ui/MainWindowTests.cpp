#include "UiTestSupport.h"
#include "ui/ModDialogs.h"

namespace vibrex::test {
namespace {

class MainWindow : public MainWindowTest {
protected:
    // START refuses with a message that begins with `text`, on the cell at fault, and nothing
    // starts.
    void ExpectStartRefused(const QString& text, int row,
                            Model::Column column = Model::ColumnOutputFormat) {
        Click("CmdConvert");
        EXPECT_TRUE(prompter.LastText().startsWith(text)) << prompter.LastText().toStdString();
        EXPECT_EQ(grid->currentIndex(), Cell(row, column));
        EXPECT_EQ(engine->FileStatus(row), ConversionStatus::Idle) << "nothing may start";
    }

    // `midRun` runs once, when the first file is 30% done.
    void AtThirtyPercent(std::function<void()> midRun) {
        QObject::connect(grid->model(), &QAbstractItemModel::dataChanged, window.get(),
                         [this, midRun = std::move(midRun), done = false]() mutable {
                             if (!done && engine->FileStatus(0) == ConversionStatus::InProgress &&
                                 engine->FileProgress(0) >= 30) {
                                 done = true;
                                 midRun();
                             }
                         });
    }
};

// Each recording takes a row (Delete takes the current one out: see the preview's tests).
TEST_F(MainWindow, DroppedFilesFillTheGridAndRefusedOnesAreReported) {
    const auto second = WritePsn("second.psn");
    WriteFile(folder / "notes.txt", "just text\r\n");
    Drop({WritePsn("first.psn"), (folder / "notes.txt").string(), second, WritePsn("third.psn")});

    ASSERT_EQ(grid->model()->rowCount(), 3);
    EXPECT_EQ(Text(1, Model::ColumnFileName), "second.psn");
    EXPECT_EQ(Text(1, Model::ColumnFileFormat), "PSNINT");
    EXPECT_EQ(Text(1, Model::ColumnChannelsCount), "1");
    EXPECT_EQ(Cell(1, Model::ColumnFileName).data(Qt::ToolTipRole).toString(),
              QString::fromStdString(second));
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_EQ(prompter.LastText(), QString::fromStdString("Unrecognized file format.\r\n" +
                                                          (folder / "notes.txt").string()));
}

TEST_F(MainWindow, TheComboSetsTheCurrentFileOrEveryFile) {
    Drop({WritePsn("a.psn"), WritePsn("b.psn")});
    ChooseFormat(1, FileFormat::SAC);
    EXPECT_EQ(Text(0, Model::ColumnOutputFormat), "");
    EXPECT_EQ(Text(1, Model::ColumnOutputFormat), "SAC");
    EXPECT_FALSE(Find<QComboBox>("CmbFormats")->isVisible());

    // Automatic naming lasts only while the format takes one channel a file.
    NameOutputs("", false, true);
    EXPECT_EQ(Text(1, Model::ColumnOutputFileName), "Automatic naming");
    EXPECT_EQ(engine->FileOutputPath(1), (Output() / "Automatic.sac").string());
    ChooseFormat(1, FileFormat::Seisan);
    EXPECT_EQ(Text(1, Model::ColumnOutputFileName), "");
    EXPECT_FALSE(engine->FileAutoNaming(1));

    Find<QCheckBox>("ChkSameOutput")->setChecked(true);
    ChooseFormat(0, FileFormat::PSNINT);
    EXPECT_EQ(engine->FileOutputFormat(1), FileFormat::PSNINT);

    // A name made for one format takes the next format's extension; a name of the user's own
    // ending keeps it.
    NameOutputs("_v");
    ChooseFormat(0, FileFormat::miniSeed);
    EXPECT_EQ(Text(0, Model::ColumnOutputFileName), "a_v.mseed");
    ChooseFormat(0, FileFormat::SAC);
    EXPECT_EQ(engine->FileOutputPath(1), (Output() / "b_v.sac").string());
    NameOutputs("_w", true);
    ChooseFormat(0, FileFormat::Seisan);
    EXPECT_EQ(Text(1, Model::ColumnOutputFileName), "b_w.psn");
}

TEST_F(MainWindow, StartRefusesEachProblemOnItsCell) {
    Click("CmdConvert");
    EXPECT_EQ(prompter.LastText(), "There isn't any file to convert.");

    Drop({WritePsn("a.psn", 32768), WritePsn("sub/a.psn")});
    ChooseFormat(0, FileFormat::PSNINT);
    ExpectStartRefused("Output format missing.", 1);

    ChooseFormat(1, FileFormat::PSNINT);
    std::filesystem::remove_all(Output());
    Click("CmdConvert");
    EXPECT_EQ(prompter.LastText(), "The output folder doesn't exists.");
    std::filesystem::create_directories(Output());

    ExpectStartRefused("Output file name missing.", 0, Model::ColumnOutputFileName);

    // Both inputs are called a.psn: named into one folder they collide on the later row.
    NameOutputs("", true);
    ExpectStartRefused("This input file name has been already chosen in the same path.", 1,
                       Model::ColumnOutputFileName);

    // In their own folders, with their own extension, the outputs would overwrite the inputs.
    Find<QCheckBox>("ChkOriginalFolder")->setChecked(true);
    ExpectStartRefused("The input and output file paths and names are the same.", 0,
                       Model::ColumnOutputFileName);

    // What the output format cannot take is refused too, before anything is read (the engine's
    // tests pin the words).
    ChooseFormat(0, FileFormat::SU);
    NameOutputs("_su");
    ExpectStartRefused("SU holds at most 32767 samples", 0, Model::ColumnOutputFileName);
}

TEST_F(MainWindow, MergeChecksThenAsksForTheMergedName) {
    Drop({WritePsn("a.psn"), WritePsn("b.psn"), WritePsn("c.psn"), WritePsn("d.psn")});
    Find<QCheckBox>("ChkMerge")->setChecked(true);
    EXPECT_FALSE(Find<QCheckBox>("ChkSameOutput")->isEnabled());
    ChooseFormat(0, FileFormat::SAC); // merge applies a format to every file
    engine->SetFileOutputFormat(2, FileFormat::SU);
    ExpectStartRefused("Merge option enabled.\r\nSelect the same output format on all files.", 2);

    ChooseFormat(3, FileFormat::SAC);
    ExpectStartRefused(
        "Merge option enabled.\r\nThe selected output format isn't a multichannel format.", 0);

    ChooseFormat(0, FileFormat::Seisan);
    ExpectStartRefused(
        "Merge option enabled.\r\nCan't merge more than 3 channels in a Seisan file.", 0);

    Click("CmdRemove"); // row 0 is current
    Click("CmdConvert");
    EXPECT_EQ(prompter.unscriptedDialogs, 1) << "the merged name is asked for";
    EXPECT_EQ(engine->FileStatus(0), ConversionStatus::Idle) << "a cancelled name starts nothing";

    // A name chosen in another folder still goes to the common output folder.
    prompter.dialogs.push_back([&](QDialog& dialog) {
        auto& save = static_cast<QFileDialog&>(dialog);
        EXPECT_FALSE(save.findChild<QCheckBox*>("ChkAutoName")->isEnabled());
        save.selectFile(QString::fromStdString((folder / "merged").string()));
        Accept(save);
    });
    Click("CmdConvert");
    EXPECT_EQ(engine->MergeFilePath(), (Output() / "merged.dat").string());
    EXPECT_NE(engine->FileStatus(0), ConversionStatus::Idle);
}

// A failure stops nothing: the run goes on to the next file, the failed row keeps the engine's
// reason, and only the end of the run speaks, offering every reason at once. Finished rows show
// full bars; Clean keeps the rows that failed.
TEST_F(MainWindow, ARunGoesPastFailuresAndOffersTheirReasonsAtTheEnd) {
    WriteFile(folder / "bad.psn", PsnText({"Number of Samples: 2"}, {"1", "oops"}));
    ReadyToConvert({WritePsn("a.psn", 400), WritePsn("b.psn", 400), (folder / "bad.psn").string(),
                    WritePsn("c.psn", 400)},
                   FileFormat::PSNINT);
    Find<QCheckBox>("ChkInvert")->setChecked(true); // so every sample is read, and "oops" fails
    std::filesystem::remove(folder / "b.psn");
    QString summary;
    prompter.dialogs.push_back([&](QDialog& details) {
        summary = details.findChild<QPlainTextEdit*>("TxtDetails")->toPlainText();
    });
    Click("CmdConvert");
    ASSERT_EQ(prompter.messages.size(), 1u) << "one word at the end, none on the way";
    EXPECT_EQ(prompter.LastText(), "2 of 4 files failed.\r\nShow the details?");
    for (const auto& [row, status] :
         {std::pair{0, "Success"}, {1, "File missing"}, {2, "Failed"}, {3, "Success"}}) {
        EXPECT_EQ(Text(row, Model::ColumnStatus), status) << row;
    }
    EXPECT_FALSE(Cell(1, Model::ColumnProgress).data(Model::ProgressRole).isValid())
        << "no bar on a failed row";
    EXPECT_EQ(Cell(3, Model::ColumnProgress).data(Model::ProgressRole).toInt(), 100);
    const QString reason = QString::fromStdString(engine->FileErrorText(2)).replace("\r\n", "\n");
    EXPECT_TRUE(summary.endsWith("\nbad.psn: " + reason)) << summary.toStdString();
    EXPECT_EQ(Cell(2, Model::ColumnStatus).data(Qt::ToolTipRole).toString(), reason);

    prompter.dialogs.push_back([&](QDialog& details) {
        const auto* text = details.findChild<QPlainTextEdit*>("TxtDetails");
        EXPECT_EQ(text->toPlainText(), reason);
        QTest::mouseClick(details.findChild<QPushButton*>("CmdCopy"), Qt::LeftButton);
    });
    DoubleClick(2, Model::ColumnStatus);
    EXPECT_TRUE(prompter.dialogs.empty()) << "the details did not open";
    EXPECT_EQ(QApplication::clipboard()->text(), reason);

    Click("CmdClean");
    ASSERT_EQ(grid->model()->rowCount(), 2);
    EXPECT_EQ(Text(0, Model::ColumnFileName), "b.psn");
    EXPECT_EQ(Text(1, Model::ColumnFileName), "bad.psn");
}

TEST_F(MainWindow, OutputsAreNamedByTheToolOnOkOrByHand) {
    Drop({WritePsn("quake.psn"), WritePsn("other.psn")});
    ChooseFormat(0, FileFormat::SAC);
    prompter.dialogs.push_back([](QDialog& tool) {
        // The first forbidden character of the list is named, not the first of the text.
        tool.findChild<QLineEdit*>("TxtAddChar")->setText("a?b/c");
        EXPECT_EQ(Accept(tool), QDialog::Rejected) << "the tool stays open";
        tool.findChild<QLineEdit*>("TxtAddChar")->setText("_x"); // then cancelled
    });
    Click("CmdOutNameWiz");
    ASSERT_EQ(prompter.messages.size(), 2u);
    EXPECT_TRUE(prompter.messages[0].text.startsWith("Output format missing on 1 files."));
    EXPECT_EQ(prompter.messages[1].text, "Invalid char: /");
    EXPECT_EQ(engine->FileOutputPath(0), "") << "cancel changes nothing";

    NameOutputs("_x");
    EXPECT_EQ(engine->FileOutputPath(0), (Output() / "quake_x.sac").string());
    EXPECT_EQ(engine->FileOutputPath(1), "");

    // By hand: a name that ends with a dot takes the format's extension (the merge test gives
    // one without a dot).
    prompter.dialogs.push_back([](QDialog& dialog) {
        auto& save = static_cast<QFileDialog&>(dialog);
        EXPECT_EQ(save.nameFilters(), QStringList{"SAC (*.sac)"});
        EXPECT_TRUE(save.findChild<QCheckBox*>("ChkAutoName")->isEnabled());
        save.selectFile("out.");
        Accept(save);
    });
    DoubleClick(0, Model::ColumnOutputFileName);
    EXPECT_EQ(engine->FileOutputPath(0), (Output() / "out.sac").string());
    EXPECT_EQ(CompleteExtension("/data/out.txt", ".sac"), "/data/out.txt");
    EXPECT_EQ(CompleteExtension("/data.d/out", ".sac"), "/data.d/out.sac");
}

// The folders, the window's options and measures, and the WAV settings confirmed last come back
// after a restart.
TEST_F(MainWindow, SettingsComeBackAfterClosing) {
    Drop({WritePsn("in/a.psn")});
    prompter.dialogs.push_back(
        [](QDialog& about) { about.findChild<QCheckBox*>("ChkNoLogo")->setChecked(false); });
    Click("CmdAbout");
    const char* const boxes[] = {"ChkSameOutput", "ChkOriginalFolder", "ChkInvert"};
    for (const char* box : boxes) {
        Find<QCheckBox>(box)->setChecked(true);
    }
    ChooseFormat(0, FileFormat::WAV);
    // The factor's bar follows the typing while the text is a factor it can show; OK refuses
    // one out of range.
    prompter.dialogs.push_back([this](QDialog& wave) {
        auto* text = wave.findChild<QLineEdit*>("TxtFattore");
        auto* bar = wave.findChild<QScrollBar*>("HScFattore");
        text->clear();
        QTest::keyClicks(text, "10000");
        EXPECT_EQ(bar->value(), 10000);
        QTest::keyClick(text, Qt::Key_1);
        EXPECT_EQ(bar->value(), 10000);
        EXPECT_EQ(Accept(wave), QDialog::Rejected);
        EXPECT_EQ(prompter.LastText(), "The range of the amplitude factor is 1-10000.");
        text->setText("0");
        EXPECT_EQ(Accept(wave), QDialog::Rejected);
        bar->setValue(250);
        EXPECT_EQ(text->text(), "250");
        wave.findChild<QRadioButton*>("Opt16")->setChecked(true);
        Accept(wave);
    });
    const QPoint row = grid->visualRect(Cell(0, Model::ColumnStatus)).center();
    QContextMenuEvent menu(QContextMenuEvent::Mouse, row, grid->viewport()->mapToGlobal(row));
    QApplication::sendEvent(grid->viewport(), &menu);
    Find<QMenu>("MnuContext")->hide();
    Find<QAction>("MnuWAV")->trigger();
    grid->horizontalHeader()->resizeSection(Model::ColumnFileName, 321);
    Find<QSplitter>("SplPreview")->setSizes({150, 290});
    window->resize(1100, 700);
    ASSERT_TRUE(window->close());

    EXPECT_EQ(ReadLines(folder / "Vibrex.ini").at(0), "Input path=" + (folder / "in").string());
    EXPECT_EQ(ReadLines(folder / "Vibrex.ini").at(3), "Startup logo=True");
    const QList<int> split = Find<QSplitter>("SplPreview")->sizes();
    Restart();
    EXPECT_EQ(Find<QLineEdit>("TxtOutputFolder")->text(),
              QString::fromStdString(Output().string()));
    for (const char* box : boxes) {
        EXPECT_TRUE(Find<QCheckBox>(box)->isChecked()) << box;
    }
    EXPECT_FALSE(Find<QCheckBox>("ChkMerge")->isChecked());
    EXPECT_EQ(grid->columnWidth(Model::ColumnFileName), 321);
    EXPECT_EQ(Find<QSplitter>("SplPreview")->sizes(), split);
    EXPECT_EQ(window->size(), QSize(1100, 700));
    // The WAV settings confirmed last are given to the next file made WAV.
    Drop({WritePsn("b.psn")});
    ChooseFormat(0, FileFormat::WAV);
    EXPECT_EQ(engine->WAVFactor(0), 250);
    EXPECT_EQ(engine->WAVBitCount(0), 16);
}

// Ctrl+O adds, Ctrl+Return (or Enter on the keypad) starts, and Escape clicks Abort, so this is
// also the Abort button's test. Closing the window during a run asks first: No keeps converting;
// Yes aborts the run, and the window goes once the run has cleaned up.
TEST_F(MainWindow, KeysAddStartAndAbortAndClosingDuringARunAsksFirst) {
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    QTest::keyClick(window.get(), Qt::Key_O, Qt::ControlModifier);
    EXPECT_EQ(prompter.unscriptedDialogs, 1) << "Ctrl+O opens the file dialog";
    ReadyToConvert({WritePsn("a.psn", 2000), WritePsn("b.psn", 2000)}, FileFormat::PSNINT);
    AtThirtyPercent([&] {
        EXPECT_FALSE(Find<QPushButton>("CmdConvert")->isEnabled());
        QTest::keyClick(window.get(), Qt::Key_Escape);
    });
    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(Text(0, Model::ColumnStatus), "Aborted");
    EXPECT_EQ(Text(1, Model::ColumnStatus), "Idle");
    for (const bool yes : {false, true}) {
        std::filesystem::remove_all(Output());
        std::filesystem::create_directories(Output());
        AtThirtyPercent([&] { EXPECT_FALSE(window->close()); });
        prompter.answer = yes;
        prompter.messages.clear();
        QTest::keyClick(window.get(), Qt::Key_Enter, Qt::ControlModifier | Qt::KeypadModifier);
        ASSERT_EQ(prompter.messages.size(), 1u);
        EXPECT_EQ(prompter.LastText(),
                  "A conversion is running.\r\nAbort it and close the window?");
        EXPECT_EQ(window->isVisible(), !yes);
        EXPECT_EQ(Text(yes ? 0 : 1, Model::ColumnStatus), yes ? "Aborted" : "Success");
    }
    EXPECT_TRUE(std::filesystem::is_empty(Output())) << "the run stopped at its first file";
}

// The names the dialog lists in its folder, once it has read the folder.
QStringList ListedNames(QFileDialog& dialog) {
    const auto* view = dialog.findChild<QListView*>("listView");
    QStringList names;
    for (int row = 0; row < view->model()->rowCount(view->rootIndex()); ++row) {
        names << view->model()->index(row, 0, view->rootIndex()).data().toString();
    }
    names.sort();
    return names;
}

// With no saved output folder the box shows the home folder, and the first recordings added put
// their own folder there. The open dialog starts in the home folder, names the format of the file
// under the cursor, and lists a folder's files under their format's filter whatever the case of
// their extensions.
TEST_F(MainWindow, AtAFirstStartTheOutputFolderIsHomeThenTheFirstInputsFolder) {
    std::filesystem::remove(folder / "Vibrex.ini");
    Restart();
    const auto shown = [&] { return Find<QLineEdit>("TxtOutputFolder")->text(); };
    EXPECT_EQ(shown(), QDir::homePath());
    const auto psn = WritePsn("in/a.psn");
    for (const char* name : {"EVENT.SAC", "event.sac", "station.MSEED", "quake.Psn", "notes.txt"}) {
        WriteFile(folder / "in" / name, "");
    }
    // A filter by its place in the list (a format's value, or past the last format), and the
    // names it lists.
    const std::pair<int, QStringList> cases[] = {
        {static_cast<int>(FileFormat::SAC), {"EVENT.SAC", "event.sac"}},
        {static_cast<int>(FileFormat::miniSeed), {"station.MSEED"}},
        {kFormatsCount, {"EVENT.SAC", "a.psn", "event.sac", "quake.Psn", "station.MSEED"}},
    };
    prompter.dialogs.push_back([&](QDialog& dialog) {
        auto& open = static_cast<QFileDialog&>(dialog);
        EXPECT_EQ(open.directory().absolutePath(), QDir::homePath()) << "not the program's folder";
        emit open.currentChanged(QString::fromStdString(psn));
        EXPECT_EQ(open.findChild<QLineEdit*>("TxtFormat")->text(), "PSNINT");
        EXPECT_TRUE(open.nameFilters().last().startsWith("All recognised recordings ("));
        open.setDirectory(QString::fromStdString((folder / "in").string()));
        for (const auto& [filter, listed] : cases) {
            open.selectNameFilter(open.nameFilters().value(filter));
            EXPECT_TRUE(QTest::qWaitFor([&] { return ListedNames(open) == listed; }, 5000))
                << open.selectedNameFilter().toStdString() << ": "
                << ListedNames(open).join(' ').toStdString();
        }
        open.selectFile(QString::fromStdString(psn));
        Accept(open);
    });
    Click("CmdAdd");
    ASSERT_EQ(engine->FilesCount(), 1);
    const QString inputFolder = QString::fromStdString((folder / "in").string());
    EXPECT_EQ(shown(), inputFolder);
    Drop({WritePsn("elsewhere/b.psn")});
    EXPECT_EQ(shown(), inputFolder) << "only the first input chooses";
    ChooseFormat(0, FileFormat::SAC);
    NameOutputs("_out");
    EXPECT_EQ(engine->FileOutputPath(0), (folder / "in" / "a_out.sac").string());
}

} // namespace
} // namespace vibrex::test
