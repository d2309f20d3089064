#pragma once

#include "app/Settings.h"
#include "engine/ClsConverter.h"
#include "ui/FrmOutputWiz.h"
#include "ui/QtHost.h"
#include "ui/RememberedOptions.h"

#include <QWidget>
#include <filesystem>
#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QElapsedTimer;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;

namespace vibrex {

class FileGrid;
class FileTableModel;
class PreviewPane;

// The main window: the engine's file list in a grid, the output settings, and the run. It owns
// the one engine and is its host, so the run repaints the grid and ABORT reaches the engine
// while the conversion goes on in this same thread.
class FrmMain final : public QWidget, public QtHost {
    Q_OBJECT

public:
    // The engine's work folder goes under `workFolderParent`; the settings are read from
    // `settingsFile` now and written back when the window closes.
    explicit FrmMain(
        const std::filesystem::path& workFolderParent = LocateProgramFolders().workFolderParent,
        std::filesystem::path settingsFile = SettingsFilePath());
    ~FrmMain() override;

    ClsConverter& Converter() { return m_engine; }
    // Shows the about box as a logo until two seconds have passed since `sinceStart` began,
    // when the user has not turned the logo off.
    void ShowStartupLogo(const QElapsedTimer& sinceStart);

    void ConversionProgress() override;
    void FileStatusChange() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildControls();
    void BuildGrid();
    void BuildContextMenu();
    void ConnectControls();

    void RefreshAll();
    int CurrentFileRow() const;
    QString EffectiveOutputFolder(int file) const;
    QString CommonOutputFolder() const;
    void SetCommonOutputFolder(const QString& folder);

    void AddFiles(const QStringList& paths);
    void RemoveCurrentFile();
    void RemoveAllFiles();
    void RemoveConvertedFiles();

    void PreviewCurrentFile();
    void ShowFailureDetails(int file);

    void ShowContextMenu(const QPoint& position);
    void GridDoubleClicked(const QModelIndex& index);
    void OpenHeaderEditor(int file);
    void OpenWaveSetup(int file);
    void ShowFormatsCombo(int file);
    void HideFormatsCombo();
    void FormatChosen(int item);
    // `previous` is the format the output name was made for.
    void SetOutputFormat(int file, FileFormat format, FileFormat previous);
    void EditOutputPath(int file);

    void BrowseOutputFolder();
    void OriginalFolderToggled(bool checked);
    void MergeToggled(bool checked);
    void RetargetOutputPaths();
    void RunOutputNameTool();

    void StartClicked();
    bool CheckBeforeStart();
    bool CheckMerge();
    bool CheckSeparateOutputs();
    // Moves the current cell to the file's row and `column`, shows the refusal, returns false.
    bool Refuse(const QString& text, int file = -1, int column = -1);
    void SetRunning(bool running);

    std::filesystem::path m_settingsFile;
    Settings m_settings;
    RememberedOptions m_remembered;
    OutputNameOptions m_nameOptions;
    ClsConverter m_engine;
    bool m_converting = false;
    bool m_closeAfterRun = false; // the window was closed during the run
    int m_menuRow = -1;
    // No folder was saved: the home folder is shown until the first input's folder replaces it.
    bool m_outputFolderIsDefault = false;

    FileGrid* m_grdFiles = nullptr;
    FileTableModel* m_model = nullptr;
    PreviewPane* m_preview = nullptr;
    QComboBox* m_cmbFormats = nullptr;
    QPushButton* m_cmdAdd = nullptr;
    QPushButton* m_cmdRemove = nullptr;
    QPushButton* m_cmdReset = nullptr;
    QPushButton* m_cmdClean = nullptr;
    QPushButton* m_cmdConvert = nullptr;
    QPushButton* m_cmdAbort = nullptr;
    QPushButton* m_cmdHeaderTool = nullptr;
    QPushButton* m_cmdOutNameWiz = nullptr;
    QPushButton* m_cmdBrowse = nullptr;
    QPushButton* m_cmdAbout = nullptr;
    QCheckBox* m_chkMerge = nullptr;
    QCheckBox* m_chkSameOutput = nullptr;
    QCheckBox* m_chkOriginalFolder = nullptr;
    QCheckBox* m_chkInvert = nullptr;
    QLineEdit* m_txtOutputFolder = nullptr;
    QLabel* m_label1 = nullptr;
    QMenu* m_mnuContext = nullptr;
    QAction* m_mnuHeader = nullptr;
    QAction* m_mnuOutput = nullptr;
    QAction* m_mnuOutputPath = nullptr;
    QAction* m_mnuWav = nullptr;
    QAction* m_mnuDetails = nullptr;
};

} // namespace vibrex
