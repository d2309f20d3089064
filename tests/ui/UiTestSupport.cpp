#include "UiTestSupport.h"

#include <QDialog>
#include <QMimeData>
#include <QUrl>

namespace vibrex::test {
namespace {

// One application for the whole suite, created when the tests run rather than when they are
// listed.
class QtEnvironment final : public ::testing::Environment {
public:
    void SetUp() override { m_application = std::make_unique<QApplication>(m_argc, m_argv); }
    void TearDown() override { m_application.reset(); }

private:
    int m_argc = 1;
    char m_name[9] = "ui_tests";
    char* m_argv[2] = {m_name, nullptr};
    std::unique_ptr<QApplication> m_application;
};

[[maybe_unused]] ::testing::Environment* const kQtEnvironment =
    ::testing::AddGlobalTestEnvironment(new QtEnvironment);

} // namespace

Prompter::Prompter() {
    m_previousMessages = SetMessageHandler([this](const Message& message) {
        messages.push_back(message);
        return message.icon == MessageIcon::Question ? answer : true;
    });
    m_previousDialogs = SetDialogHandler([this](QDialog& dialog) {
        if (dialogs.empty()) {
            ++unscriptedDialogs;
            return static_cast<int>(QDialog::Rejected);
        }
        auto script = std::move(dialogs.front());
        dialogs.pop_front();
        return script(dialog);
    });
}

Prompter::~Prompter() {
    SetMessageHandler(std::move(m_previousMessages));
    SetDialogHandler(std::move(m_previousDialogs));
}

int Accept(QDialog& dialog) {
    dialog.accept();
    return dialog.result();
}

MainWindowTest::MainWindowTest(bool firstStart) {
    std::filesystem::create_directories(Output());
    if (!firstStart) {
        WriteFile(folder / "Vibrex.ini", "Output path=" + Output().string() + "\r\n");
    }
    Restart();
}

void MainWindowTest::Restart() {
    window = std::make_unique<FrmMain>(folder.Path(), folder / "Vibrex.ini");
    engine = &window->Converter();
    grid = Find<QTableView>("GrdFiles");
    window->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
}

std::string MainWindowTest::WritePsn(const std::string& name, int samples,
                                     const std::string& station) const {
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

void MainWindowTest::Drop(const std::vector<std::string>& paths) {
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

void MainWindowTest::DoubleClick(int row, FileTableModel::Column column) {
    const QPoint where = grid->visualRect(Cell(row, column)).center();
    // Qt reports a double click only after a first click at the same place.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, where);
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, where);
}

void MainWindowTest::ChooseFormat(int row, FileFormat format) {
    DoubleClick(row, FileTableModel::ColumnOutputFormat);
    auto* combo = Find<QComboBox>("CmbFormats");
    ASSERT_TRUE(combo->isVisible());
    const int item = combo->findData(static_cast<int>(format));
    combo->setCurrentIndex(item);
    emit combo->activated(item);
}

void MainWindowTest::NameOutputs(const QString& add, bool keepExtension, bool automatic) {
    prompter.dialogs.push_back([=](QDialog& tool) {
        tool.findChild<QLineEdit*>("TxtAddChar")->setText(add);
        tool.findChild<QCheckBox*>("ChkOriginalExt")->setChecked(keepExtension);
        tool.findChild<QCheckBox*>("ChkAutoName")->setChecked(automatic);
        return Accept(tool);
    });
    Click("CmdOutNameWiz");
}

void MainWindowTest::ReadyToConvert(const std::vector<std::string>& paths, FileFormat format) {
    Drop(paths);
    Find<QCheckBox>("ChkSameOutput")->setChecked(true);
    ChooseFormat(0, format);
    NameOutputs("_out");
}

} // namespace vibrex::test
