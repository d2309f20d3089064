#pragma once

#include "support/TestSupport.h"
#include "ui/FileTableModel.h"
#include "ui/FrmMain.h"
#include "ui/Prompts.h"

#include <QtTest>
#include <QtWidgets>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace vibrex::test {

using Model = FileTableModel;

// One application for the whole suite, created when the tests run rather than when they are
// listed.
struct QtEnvironment final : ::testing::Environment {
    void SetUp() override { application = std::make_unique<QApplication>(argc, argv); }
    void TearDown() override { application.reset(); }
    int argc = 1;
    char* argv[2] = {const_cast<char*>("ui_tests"), nullptr};
    std::unique_ptr<QApplication> application;
};
inline ::testing::Environment* const kQtEnvironment =
    ::testing::AddGlobalTestEnvironment(new QtEnvironment);

// Answers every message box and modal dialog in place of the user, and records the messages.
// Dialogs are handed to the scripts in the order they were queued, and end as the script leaves
// them: cancelled unless it accepted them. One without a script is cancelled.
struct Prompter {
    Prompter() {
        SetMessageHandler([this](const Message& message) {
            messages.push_back(message);
            return message.icon == MessageIcon::Question ? answer : true;
        });
        SetDialogHandler([this](QDialog& dialog) {
            if (dialogs.empty()) {
                ++unscriptedDialogs;
            } else {
                auto script = std::move(dialogs.front());
                dialogs.pop_front();
                script(dialog);
            }
            return dialog.result();
        });
    }
    ~Prompter() { // the real message boxes and modal loops again
        SetMessageHandler({});
        SetDialogHandler({});
    }

    std::vector<Message> messages;
    bool answer = true; // to questions
    std::deque<std::function<void(QDialog&)>> dialogs;
    int unscriptedDialogs = 0;

    QString LastText() const { return messages.empty() ? QString() : messages.back().text; }
};

// Accepts `dialog` as its OK button would; the dialog may refuse and stay open.
inline int Accept(QDialog& dialog) {
    dialog.accept();
    return dialog.result();
}

// The main window on a temporary program folder whose settings name Output() as the common
// output folder.
struct MainWindowTest : ::testing::Test {
    MainWindowTest() {
        std::filesystem::create_directories(Output());
        WriteFile(folder / "Vibrex.ini", "Output path=" + Output().string() + "\r\n");
        Restart();
    }
    // A new window on the same program folder, as at the next start.
    void Restart() {
        window = std::make_unique<FrmMain>(folder.Path(), folder / "Vibrex.ini");
        engine = &window->Converter();
        grid = Find<QTableView>("GrdFiles");
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    std::filesystem::path Output() const { return folder / "out"; }
    // A single-channel PSN ASCII recording in the temporary folder.
    std::string WritePsn(const std::string& name, int samples = 30,
                         const std::string& station = "VBRX") const {
        std::vector<std::string> values;
        for (int i = 0; i < samples; ++i) {
            values.push_back(std::to_string(i % 7 - 3));
        }
        const auto path = folder / name;
        std::filesystem::create_directories(path.parent_path());
        WriteFile(path, PsnText({"Start Time: 2026/03/14 02:47:10.000",
                                 "Number of Samples: " + std::to_string(samples), "SPS: 100",
                                 "Station Code: " + station, "Component Name: HHZ"},
                                values));
        return path.string();
    }
    // Drops the recordings on the grid, as from a file manager.
    void Drop(const std::vector<std::string>& paths) {
        QMimeData data;
        QList<QUrl> urls;
        for (const auto& path : paths) {
            urls << QUrl::fromLocalFile(QString::fromStdString(path));
        }
        data.setUrls(urls);
        const QPoint where = grid->viewport()->rect().center();
        QDragEnterEvent enter(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(grid->viewport(), &enter);
        QDropEvent drop(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(grid->viewport(), &drop);
    }

    QModelIndex Cell(int row, Model::Column column) const {
        return grid->model()->index(row, column);
    }
    QString Text(int row, Model::Column column) const {
        return Cell(row, column).data().toString();
    }
    void DoubleClick(int row, Model::Column column) {
        const QPoint where = grid->visualRect(Cell(row, column)).center();
        // Qt reports a double click only after a first click at the same place.
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, where);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, where);
    }
    // Chooses `format` in the in-cell combo over the row's output format cell.
    void ChooseFormat(int row, FileFormat format) {
        DoubleClick(row, Model::ColumnOutputFormat);
        auto* combo = Find<QComboBox>("CmbFormats");
        ASSERT_TRUE(combo->isVisible());
        const int item = combo->findData(static_cast<int>(format));
        combo->setCurrentIndex(item);
        emit combo->activated(item);
    }
    void Click(const char* buttonName) {
        QTest::mouseClick(Find<QPushButton>(buttonName), Qt::LeftButton);
    }
    // Runs the output file name tool and confirms it with these options.
    void NameOutputs(const QString& add, bool keepExtension = false, bool automatic = false) {
        prompter.dialogs.push_back([=](QDialog& tool) {
            tool.findChild<QLineEdit*>("TxtAddChar")->setText(add);
            tool.findChild<QCheckBox*>("ChkOriginalExt")->setChecked(keepExtension);
            tool.findChild<QCheckBox*>("ChkAutoName")->setChecked(automatic);
            Accept(tool);
        });
        Click("CmdOutNameWiz");
    }
    // Drops the recordings and readies them all for `format`, each named with "_out" added.
    void ReadyToConvert(const std::vector<std::string>& paths, FileFormat format) {
        Drop(paths);
        Find<QCheckBox>("ChkSameOutput")->setChecked(true);
        ChooseFormat(0, format);
        NameOutputs("_out");
    }
    template <typename Widget> Widget* Find(const char* name) const {
        return window->findChild<Widget*>(QString::fromLatin1(name));
    }

    TempFolder folder;
    Prompter prompter;
    std::unique_ptr<FrmMain> window;
    ClsConverter* engine = nullptr;
    QTableView* grid = nullptr;
};

} // namespace vibrex::test
