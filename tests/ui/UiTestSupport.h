#pragma once

#include "support/TestSupport.h"
#include "ui/FileTableModel.h"
#include "ui/FrmMain.h"
#include "ui/Prompts.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QImage>
#include <QLineEdit>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QString>
#include <QTableView>
#include <QTest>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace vibrex::test {

using Model = FileTableModel;

// Answers every message box and modal dialog in place of the user, and records the messages.
// Dialogs are answered in the order the scripts were queued; one without a script is
// cancelled.
class Prompter {
public:
    Prompter();
    ~Prompter();
    Prompter(const Prompter&) = delete;
    Prompter& operator=(const Prompter&) = delete;

    std::vector<Message> messages;
    bool answer = true; // to questions
    std::deque<std::function<int(QDialog&)>> dialogs;
    int unscriptedDialogs = 0;

    QString LastText() const { return messages.empty() ? QString() : messages.back().text; }

private:
    MessageHandler m_previousMessages;
    DialogHandler m_previousDialogs;
};

// Accepts `dialog` as its OK button would; the dialog may refuse and stay open.
int Accept(QDialog& dialog);

// The main window on a temporary program folder whose settings name Output() as the common
// output folder, or, at a first start, whose settings are not there yet.
class MainWindowTest {
public:
    explicit MainWindowTest(bool firstStart = false);
    // A new window on the same program folder, as at the next start.
    void Restart();

    std::filesystem::path Output() const { return folder / "out"; }
    // A single-channel PSN ASCII recording in the temporary folder.
    std::string WritePsn(const std::string& name, int samples = 30,
                         const std::string& station = "VBRX") const;
    // Drops the recordings on the grid, as from a file manager.
    void Drop(const std::vector<std::string>& paths);

    QModelIndex Cell(int row, FileTableModel::Column column) const {
        return grid->model()->index(row, column);
    }
    QString Text(int row, FileTableModel::Column column) const {
        return Cell(row, column).data().toString();
    }
    void DoubleClick(int row, FileTableModel::Column column);
    // Chooses `format` in the in-cell combo over the row's output format cell.
    void ChooseFormat(int row, FileFormat format);
    void Click(const char* buttonName) {
        QTest::mouseClick(Find<QPushButton>(buttonName), Qt::LeftButton);
    }
    // Runs the output file name tool and confirms it with these options.
    void NameOutputs(const QString& add, bool keepExtension = false, bool automatic = false);
    // Drops the recordings and readies them all for `format`, each named with "_out" added.
    void ReadyToConvert(const std::vector<std::string>& paths, FileFormat format);
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
