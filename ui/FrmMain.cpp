#include "ui/FrmMain.h"

#include "ui/AppIcon.h"
#include "ui/FileGrid.h"
#include "ui/FileTableModel.h"
#include "ui/FrmAbout.h"
#include "ui/FrmFailure.h"
#include "ui/FrmHeader.h"
#include "ui/FrmWave.h"
#include "ui/ModDialogs.h"
#include "ui/OutputLimits.h"
#include "ui/PreviewPane.h"
#include "ui/ProgressDelegate.h"
#include "ui/Prompts.h"
#include "ui/RunSummary.h"
#include "ui/UiTools.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

namespace vibrex {
namespace {

constexpr qint64 kLogoMilliseconds = 2000;
const QString kCrLf = QStringLiteral("\r\n");
const QString kMergeEnabled = QStringLiteral("Merge option enabled.") + kCrLf;

// Initial column widths in twips, widened to fit their titles; the progress column takes the
// rest of the grid. File names get the most: long ones differ near their ends.
constexpr int kColumnTwips[] = {3600, 1500, 1260, 1500, 2400, 1500};

bool SamePathIgnoringCase(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QString FormatName(FileFormat format) {
    return ToQString(FileFormatToString(format));
}

template <typename Control> Control* Named(Control* control, const char* name) {
    control->setObjectName(QString::fromLatin1(name));
    return control;
}

} // namespace

FrmMain::FrmMain(const std::filesystem::path& workFolderParent, std::filesystem::path settingsFile)
    : QtHost(this), m_settingsFile(std::move(settingsFile)),
      m_settings(LoadSettings(m_settingsFile)), m_remembered(m_settings),
      m_engine(this, workFolderParent) {
    setObjectName(QStringLiteral("FrmMain"));
    setWindowTitle(QString::fromLatin1(kApplicationTitle) + QLatin1Char(' ') +
                   QStringLiteral(VIBREX_VERSION));
    setWindowIcon(VibrexLogo(64));
    BuildControls();
    BuildGrid();
    BuildContextMenu();
    ConnectControls();
    m_outputFolderIsDefault = m_settings.outputPath.empty();
    SetCommonOutputFolder(m_outputFolderIsDefault ? QDir::homePath()
                                                  : ToQString(m_settings.outputPath));
    SetRunning(false);
    resize(980, 660); // fits a 768-pixel-high screen with its panel and title bar
    m_remembered.Restore(*this);
    KeepMinimumSize(*this);
}

FrmMain::~FrmMain() = default;

void FrmMain::BuildControls() {
    auto* title =
        new QLabel(QStringLiteral("<b>VIBREX</b> &nbsp; seismic recording converter"), this);
    m_cmdAbout = Named(new QPushButton(QStringLiteral("About..."), this), "CmdAbout");
    m_grdFiles = Named(new FileGrid(this), "GrdFiles");
    m_preview = new PreviewPane(m_engine, this);

    auto* controls = Named(new QFrame(this), "FraControls");
    controls->setFrameShape(QFrame::StyledPanel);
    m_cmdAdd = Named(new QPushButton(QStringLiteral("Add file..."), controls), "CmdAdd");
    m_cmdRemove = Named(new QPushButton(QStringLiteral("Remove file"), controls), "CmdRemove");
    m_cmdReset = Named(new QPushButton(QStringLiteral("Remove all files"), controls), "CmdReset");
    m_cmdClean =
        Named(new QPushButton(QStringLiteral("Remove converted files"), controls), "CmdClean");
    m_cmdHeaderTool =
        Named(new QPushButton(QStringLiteral("Edit header tool..."), controls), "CmdHeaderTool");
    m_cmdOutNameWiz = Named(new QPushButton(QStringLiteral("Output file name tool..."), controls),
                            "CmdOutNameWiz");
    m_chkMerge = Named(new QCheckBox(QStringLiteral("Merge files"), controls), "ChkMerge");
    m_chkSameOutput =
        Named(new QCheckBox(QStringLiteral("Apply output format to all files"), controls),
              "ChkSameOutput");
    m_chkOriginalFolder =
        Named(new QCheckBox(QStringLiteral("Save each file in the original folder"), controls),
              "ChkOriginalFolder");
    m_chkInvert =
        Named(new QCheckBox(QStringLiteral("Invert signal polarity"), controls), "ChkInvert");
    m_label1 = Named(new QLabel(QStringLiteral("Output folder:"), controls), "Label1");
    m_txtOutputFolder = Named(new QLineEdit(controls), "TxtOutputFolder");
    m_txtOutputFolder->setReadOnly(true);
    m_label1->setBuddy(m_txtOutputFolder);
    m_cmdBrowse = Named(new QPushButton(QStringLiteral("Browse..."), controls), "CmdBrowse");
    m_cmdConvert = Named(new QPushButton(QStringLiteral("START"), controls), "CmdConvert");
    m_cmdAbort = Named(new QPushButton(QStringLiteral("ABORT"), controls), "CmdAbort");
    for (QPushButton* big : {m_cmdConvert, m_cmdAbort}) {
        QFont font = big->font();
        font.setBold(true);
        big->setFont(font);
        big->setMinimumSize(110, 40);
    }

    auto* buttons = new QHBoxLayout;
    for (QWidget* button : {m_cmdAdd, m_cmdRemove, m_cmdReset, m_cmdClean}) {
        buttons->addWidget(button);
    }
    buttons->addStretch();
    buttons->addWidget(m_cmdHeaderTool);
    buttons->addWidget(m_cmdOutNameWiz);
    auto* options = new QHBoxLayout;
    for (QWidget* option : {m_chkMerge, m_chkSameOutput, m_chkOriginalFolder, m_chkInvert}) {
        options->addWidget(option);
    }
    options->addStretch();
    auto* folder = new QHBoxLayout;
    folder->addWidget(m_label1);
    folder->addWidget(m_txtOutputFolder, 1);
    folder->addWidget(m_cmdBrowse);
    auto* run = new QVBoxLayout;
    run->addWidget(m_cmdConvert);
    run->addWidget(m_cmdAbort);
    auto* controlsLayout = new QGridLayout(controls);
    controlsLayout->addLayout(buttons, 0, 0);
    controlsLayout->addLayout(options, 1, 0);
    controlsLayout->addLayout(folder, 2, 0);
    controlsLayout->addLayout(run, 0, 1, 3, 1);

    auto* top = new QHBoxLayout;
    top->addWidget(title);
    top->addStretch();
    top->addWidget(m_cmdAbout);
    auto* split = Named(new QSplitter(Qt::Vertical, this), "SplPreview");
    split->addWidget(m_grdFiles);
    split->addWidget(m_preview);
    split->setChildrenCollapsible(false);
    split->setSizes({180, 260});
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(split, 1);
    layout->addWidget(controls);
}

void FrmMain::BuildGrid() {
    m_model = new FileTableModel(m_engine, this);
    m_grdFiles->setModel(m_model);
    m_grdFiles->setItemDelegate(new ProgressDelegate(FileTableModel::ColumnProgress,
                                                     FileTableModel::ProgressRole, m_grdFiles));
    m_grdFiles->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grdFiles->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grdFiles->setContextMenuPolicy(Qt::CustomContextMenu);
    m_grdFiles->verticalHeader()->hide();
    m_grdFiles->horizontalHeader()->setStretchLastSection(true);
    for (int column = 0; column < FileTableModel::ColumnProgress; ++column) {
        m_grdFiles->setColumnWidth(
            column, std::max(TwipsToPixels(*this, kColumnTwips[column]),
                             m_grdFiles->horizontalHeader()->sectionSizeHint(column)));
    }
    // A long name keeps its start and its end, where names of one series differ.
    m_grdFiles->setTextElideMode(Qt::ElideMiddle);

    // The combo sits exactly over an "Output format" cell, so rows take its height.
    m_cmbFormats = Named(new QComboBox(m_grdFiles->viewport()), "CmbFormats");
    FillFormatsCombo(*m_cmbFormats);
    m_cmbFormats->hide();
    m_cmbFormats->installEventFilter(this);
    m_grdFiles->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_grdFiles->verticalHeader()->setDefaultSectionSize(m_cmbFormats->sizeHint().height());
}

void FrmMain::BuildContextMenu() {
    m_mnuContext = Named(new QMenu(this), "MnuContext");
    m_mnuHeader =
        Named(m_mnuContext->addAction(QStringLiteral("Edit header info...")), "MnuHeader");
    m_mnuOutput = Named(m_mnuContext->addAction(QStringLiteral("Edit output format")), "MnuOutput");
    m_mnuOutputPath =
        Named(m_mnuContext->addAction(QStringLiteral("Edit output path...")), "MnuOutputPath");
    m_mnuWav = Named(m_mnuContext->addAction(QStringLiteral("Edit WAV parameters...")), "MnuWAV");
    m_mnuContext->addSeparator();
    m_mnuDetails = Named(m_mnuContext->addAction(QStringLiteral("Details...")), "MnuDetails");
}

void FrmMain::ConnectControls() {
    connect(m_cmdAdd, &QPushButton::clicked, this, [this] {
        const QStringList paths =
            OpenFiles(this, ToQString(m_settings.inputPath), m_settings.inputFormat);
        AddFiles(paths);
    });
    connect(m_grdFiles, &FileGrid::FilesDropped, this, &FrmMain::AddFiles);
    connect(m_cmdRemove, &QPushButton::clicked, this, &FrmMain::RemoveCurrentFile);
    connect(m_grdFiles, &FileGrid::DeletePressed, this, [this] {
        if (!m_converting) {
            RemoveCurrentFile();
        }
    });
    connect(m_cmdReset, &QPushButton::clicked, this, &FrmMain::RemoveAllFiles);
    connect(m_cmdClean, &QPushButton::clicked, this, &FrmMain::RemoveConvertedFiles);
    connect(m_cmdConvert, &QPushButton::clicked, this, &FrmMain::StartClicked);
    connect(m_cmdAbort, &QPushButton::clicked, this, [this] { m_engine.Abort(); });
    connect(m_cmdHeaderTool, &QPushButton::clicked, this, [this] {
        const int file = CurrentFileRow();
        if (file < 0) {
            ShowMessageBox(this, QStringLiteral("Select a file from the list."),
                           MessageIcon::Information);
            return;
        }
        OpenHeaderEditor(file);
    });
    connect(m_cmdOutNameWiz, &QPushButton::clicked, this, &FrmMain::RunOutputNameTool);
    connect(m_cmdBrowse, &QPushButton::clicked, this, &FrmMain::BrowseOutputFolder);
    connect(m_cmdAbout, &QPushButton::clicked, this, [this] {
        FrmAbout about(m_settings.startupLogo, this);
        ExecModal(about);
    });
    connect(m_chkMerge, &QCheckBox::toggled, this, &FrmMain::MergeToggled);
    connect(m_chkOriginalFolder, &QCheckBox::toggled, this, &FrmMain::OriginalFolderToggled);

    connect(m_grdFiles, &QWidget::customContextMenuRequested, this, &FrmMain::ShowContextMenu);
    connect(m_grdFiles, &QAbstractItemView::doubleClicked, this, &FrmMain::GridDoubleClicked);
    connect(m_grdFiles->horizontalHeader(), &QHeaderView::sectionDoubleClicked, this,
            [this](int column) { FitColumnToContents(*m_grdFiles, column); });
    connect(m_grdFiles, &FileGrid::Scrolled, this, &FrmMain::HideFormatsCombo);
    connect(m_grdFiles, &FileGrid::ColumnResized, this, &FrmMain::HideFormatsCombo);
    connect(m_cmbFormats, &QComboBox::activated, this, &FrmMain::FormatChosen);

    connect(m_mnuHeader, &QAction::triggered, this, [this] { OpenHeaderEditor(m_menuRow); });
    connect(m_mnuOutput, &QAction::triggered, this, [this] { ShowFormatsCombo(m_menuRow); });
    connect(m_mnuOutputPath, &QAction::triggered, this, [this] { EditOutputPath(m_menuRow); });
    connect(m_mnuWav, &QAction::triggered, this, [this] { OpenWaveSetup(m_menuRow); });
    connect(m_mnuDetails, &QAction::triggered, this, [this] { ShowFailureDetails(m_menuRow); });
    connect(m_grdFiles->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &FrmMain::PreviewCurrentFile);

    // Keys of a desktop program: Ctrl+O adds, Ctrl+Return starts, Escape aborts the run. Each
    // acts at once, as a click on its button (nothing while the button is disabled).
    const std::pair<QKeySequence, QPushButton*> keys[] = {
        {QKeySequence::Open, m_cmdAdd},
        {QKeySequence(Qt::CTRL | Qt::Key_Return), m_cmdConvert},
        {QKeySequence(Qt::CTRL | Qt::Key_Enter), m_cmdConvert},
        {QKeySequence(Qt::Key_Escape), m_cmdAbort},
    };
    for (const auto& [sequence, button] : keys) {
        connect(new QShortcut(sequence, this), &QShortcut::activated, button, &QPushButton::click);
    }
}

void FrmMain::ShowStartupLogo(const QElapsedTimer& sinceStart) {
    if (!m_settings.startupLogo) {
        return;
    }
    FrmAbout logo(m_settings.startupLogo);
    logo.show();
    QEventLoop wait;
    QTimer::singleShot(std::max<qint64>(0, kLogoMilliseconds - sinceStart.elapsed()), &wait,
                       &QEventLoop::quit);
    wait.exec();
}

void FrmMain::ConversionProgress() {
    m_model->RefreshProgress();
}

void FrmMain::FileStatusChange() {
    m_model->RefreshStatuses();
}

void FrmMain::closeEvent(QCloseEvent* event) {
    if (m_converting) {
        // Yes stops the run as Abort does, and the window goes once the run has cleaned up.
        event->ignore();
        if (!m_closeAfterRun && ShowMessageBox(this,
                                               QStringLiteral("A conversion is running.") + kCrLf +
                                                   QStringLiteral("Abort it and close the window?"),
                                               MessageIcon::Question)) {
            m_closeAfterRun = true;
            m_engine.Abort();
        }
        return;
    }
    m_preview->Stop();
    m_remembered.Capture(*this);
    SaveSettings(m_settings, m_settingsFile);
    event->accept();
}

void FrmMain::resizeEvent(QResizeEvent* event) {
    HideFormatsCombo();
    QWidget::resizeEvent(event);
}

bool FrmMain::eventFilter(QObject* watched, QEvent* event) {
    // The combo's own list takes the focus while it is open; only a real departure hides it.
    if (watched == m_cmbFormats && event->type() == QEvent::FocusOut &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason) {
        HideFormatsCombo();
    }
    return QWidget::eventFilter(watched, event);
}

void FrmMain::RefreshAll() {
    m_model->Refill();
    m_model->RefreshStatuses();
    m_model->RefreshProgress();
    // Rows keep their numbers when files go, so the selected row may now hold another file.
    PreviewCurrentFile();
}

int FrmMain::CurrentFileRow() const {
    const int row = m_grdFiles->currentIndex().row();
    return row >= 0 && row < m_engine.FilesCount() ? row : -1;
}

QString FrmMain::CommonOutputFolder() const {
    return ToQString(m_settings.outputPath);
}

QString FrmMain::EffectiveOutputFolder(int file) const {
    return m_chkOriginalFolder->isChecked() ? FolderPart(ToQString(m_engine.FilePath(file)))
                                            : CommonOutputFolder();
}

void FrmMain::SetCommonOutputFolder(const QString& folder) {
    QString shown = folder;
    if (shown.size() > 1 && shown.endsWith(QLatin1Char('/'))) {
        shown.chop(1);
    }
    m_settings.outputPath = shown.toStdString();
    m_txtOutputFolder->setText(shown);
    // The tail of a long path is the part that tells folders apart.
    m_txtOutputFolder->setCursorPosition(static_cast<int>(shown.size()));
}

void FrmMain::AddFiles(const QStringList& paths) {
    if (m_converting || paths.isEmpty() || paths.front().isEmpty()) {
        return;
    }
    m_settings.inputPath = FolderPart(paths.front()).toStdString();
    const int before = m_engine.FilesCount();
    for (const QString& path : paths) {
        if (!path.isEmpty()) {
            m_engine.AddFile(path.toStdString());
        }
    }
    if (m_outputFolderIsDefault && m_engine.FilesCount() > before) {
        m_outputFolderIsDefault = false;
        SetCommonOutputFolder(FolderPart(ToQString(m_engine.FilePath(before))));
        RetargetOutputPaths();
    }
    RefreshAll();
}

void FrmMain::PreviewCurrentFile() {
    if (m_converting) {
        return; // shown when the run is over
    }
    const int file = CurrentFileRow();
    if (file < 0) {
        m_preview->ShowRecording({});
        return;
    }
    QStringList outputs;
    for (const std::string& output : m_engine.FileOutputFiles(file)) {
        outputs << ToQString(output);
    }
    m_preview->ShowRecording(ToQString(m_engine.FilePath(file)), outputs);
}

void FrmMain::ShowFailureDetails(int file) {
    const QString text = ToQString(m_engine.FileErrorText(file));
    if (text.isEmpty()) {
        return;
    }
    FrmFailure details(FileNamePart(ToQString(m_engine.FilePath(file))), text, this);
    ExecModal(details);
}

void FrmMain::RemoveCurrentFile() {
    const int file = CurrentFileRow();
    if (file < 0) {
        ShowMessageBox(this, QStringLiteral("Select an item to delete."), MessageIcon::Information);
        return;
    }
    const int column = m_grdFiles->currentIndex().column();
    m_engine.RemoveFile(file);
    RefreshAll();
    m_grdFiles->setCurrentIndex(m_model->index(file, column));
}

void FrmMain::RemoveAllFiles() {
    while (m_engine.FilesCount() > 0) {
        m_engine.RemoveFile(0);
    }
    RefreshAll();
}

void FrmMain::RemoveConvertedFiles() {
    int file = 0;
    while (file < m_engine.FilesCount()) {
        if (m_engine.FileStatus(file) == ConversionStatus::Success) {
            m_engine.RemoveFile(file);
        } else {
            ++file;
        }
    }
    RefreshAll();
}

void FrmMain::ShowContextMenu(const QPoint& position) {
    const QModelIndex index = m_grdFiles->indexAt(position);
    if (m_converting || !index.isValid()) {
        return;
    }
    HideFormatsCombo();
    m_menuRow = index.row();
    m_mnuOutputPath->setEnabled(m_engine.FileOutputFormat(m_menuRow) != FileFormat::Unknown);
    m_mnuWav->setEnabled(m_engine.WAVAvailable(m_menuRow));
    m_mnuDetails->setEnabled(!m_engine.FileErrorText(m_menuRow).empty());
    m_mnuContext->popup(m_grdFiles->viewport()->mapToGlobal(position));
}

void FrmMain::GridDoubleClicked(const QModelIndex& index) {
    if (m_converting || !index.isValid()) {
        return;
    }
    switch (index.column()) {
    case FileTableModel::ColumnFileName:
    case FileTableModel::ColumnChannelsCount:
        OpenHeaderEditor(index.row());
        break;
    case FileTableModel::ColumnOutputFormat:
        ShowFormatsCombo(index.row());
        break;
    case FileTableModel::ColumnOutputFileName:
        EditOutputPath(index.row());
        break;
    case FileTableModel::ColumnStatus:
        ShowFailureDetails(index.row());
        break;
    default:
        break;
    }
}

void FrmMain::OpenHeaderEditor(int file) {
    if (m_converting) {
        return;
    }
    const FileFormat before = m_engine.FileOutputFormat(file);
    FrmHeader header(m_engine, file, this);
    ExecModal(header);
    // The editor can change the output format; the row and the output name follow it.
    SetOutputFormat(file, m_engine.FileOutputFormat(file), before);
    m_preview->HeaderEdited();
}

void FrmMain::OpenWaveSetup(int file) {
    if (m_converting) {
        return;
    }
    FrmWave wave(m_engine, file, this);
    ExecModal(wave);
    m_remembered.TakeWav(m_engine, file);
}

void FrmMain::ShowFormatsCombo(int file) {
    if (m_converting) {
        return;
    }
    const QModelIndex cell = m_model->index(file, FileTableModel::ColumnOutputFormat);
    m_grdFiles->setCurrentIndex(cell);
    m_cmbFormats->setGeometry(m_grdFiles->visualRect(cell));
    SelectFormat(*m_cmbFormats, m_engine.FileOutputFormat(file));
    m_cmbFormats->show();
    m_cmbFormats->setFocus();
}

void FrmMain::HideFormatsCombo() {
    m_cmbFormats->hide();
}

void FrmMain::FormatChosen(int item) {
    if (!m_cmbFormats->isVisible() || item < 0) {
        return;
    }
    const auto format = static_cast<FileFormat>(m_cmbFormats->itemData(item).toInt());
    if (m_chkSameOutput->isChecked() || m_chkMerge->isChecked()) {
        for (int file = 0; file < m_engine.FilesCount(); ++file) {
            SetOutputFormat(file, format, m_engine.FileOutputFormat(file));
        }
    } else if (const int file = CurrentFileRow(); file >= 0) {
        SetOutputFormat(file, format, m_engine.FileOutputFormat(file));
    }
    HideFormatsCombo();
    m_grdFiles->setFocus();
}

void FrmMain::SetOutputFormat(int file, FileFormat format, FileFormat previous) {
    // Automatic names exist only for single-channel outputs.
    if (IsMultichannelFormat(format) && m_engine.FileAutoNaming(file)) {
        m_engine.SetFileOutputPath(file, {});
        m_engine.SetFileAutoNaming(file, false);
    }
    const QString path = ToQString(m_engine.FileOutputPath(file));
    m_engine.SetFileOutputPath(file, FollowFormatExtension(path, previous, format).toStdString());
    m_engine.SetFileOutputFormat(file, format);
    if (previous != FileFormat::WAV && m_engine.WAVAvailable(file)) {
        m_remembered.GiveWav(m_engine, file);
    }
    m_model->Refill();
}

void FrmMain::EditOutputPath(int file) {
    if (m_converting) {
        return;
    }
    if (m_chkMerge->isChecked()) {
        ShowMessageBox(this,
                       kMergeEnabled + QStringLiteral("You will be prompted for the unique "
                                                      "merging file name at the conversion start."),
                       MessageIcon::Information);
        return;
    }
    const FileFormat format = m_engine.FileOutputFormat(file);
    if (format == FileFormat::Unknown) {
        ShowMessageBox(this, QStringLiteral("Set the output format first."),
                       MessageIcon::Information);
        return;
    }
    const QString present = ToQString(m_engine.FileOutputPath(file));
    bool autoNaming = m_engine.FileAutoNaming(file);
    const QString answer = SaveFile(
        this, format, present.isEmpty() ? EffectiveOutputFolder(file) : FolderPart(present),
        autoNaming ? QString() : FileNamePart(present), autoNaming);
    if (answer.isEmpty()) {
        return;
    }
    // Output folders are governed by the common folder and "original folder" alone, so the
    // folder picked in the dialog is dropped.
    m_engine.SetFileOutputPath(
        file, JoinPath(EffectiveOutputFolder(file), FileNamePart(answer)).toStdString());
    m_engine.SetFileAutoNaming(file, autoNaming);
    m_model->Refill();
}

void FrmMain::BrowseOutputFolder() {
    const QString folder =
        BrowseFolder(this, CommonOutputFolder(), QStringLiteral("Select the common output folder"));
    if (folder.isEmpty()) {
        return;
    }
    m_outputFolderIsDefault = false;
    SetCommonOutputFolder(folder);
    RetargetOutputPaths();
}

void FrmMain::OriginalFolderToggled(bool checked) {
    m_txtOutputFolder->setEnabled(!checked);
    m_cmdBrowse->setEnabled(!checked);
    m_label1->setEnabled(!checked);
    RetargetOutputPaths();
}

void FrmMain::MergeToggled(bool checked) {
    m_chkSameOutput->setEnabled(!checked);
    m_cmdOutNameWiz->setEnabled(!checked);
    m_chkOriginalFolder->setEnabled(!checked);
    if (checked) {
        m_chkOriginalFolder->setChecked(false);
    }
    m_model->SetOutputNamesGreyed(checked);
}

void FrmMain::RetargetOutputPaths() {
    for (int file = 0; file < m_engine.FilesCount(); ++file) {
        const QString path = ToQString(m_engine.FileOutputPath(file));
        if (!path.isEmpty()) {
            m_engine.SetFileOutputPath(
                file, JoinPath(EffectiveOutputFolder(file), FileNamePart(path)).toStdString());
        }
    }
    m_model->Refill();
}

void FrmMain::RunOutputNameTool() {
    if (m_converting) {
        return;
    }
    const int files = m_engine.FilesCount();
    if (files == 0) {
        ShowMessageBox(this, QStringLiteral("There isn't any file."), MessageIcon::Exclamation);
        return;
    }
    int withoutFormat = 0;
    for (int file = 0; file < files; ++file) {
        withoutFormat += m_engine.FileOutputFormat(file) == FileFormat::Unknown ? 1 : 0;
    }
    if (withoutFormat > 0 &&
        !ShowMessageBox(this,
                        QStringLiteral("Output format missing on ") +
                            QString::number(withoutFormat) + QStringLiteral(" files.") + kCrLf +
                            QStringLiteral("The output path won't be populated on these files.") +
                            kCrLf + QStringLiteral("Do you want to continue?"),
                        MessageIcon::Question)) {
        return;
    }
    FrmOutputWiz tool(m_nameOptions, this);
    ExecModal(tool);
    if (!m_nameOptions.confirmed) {
        return;
    }
    for (int file = 0; file < files; ++file) {
        const FileFormat format = m_engine.FileOutputFormat(file);
        if (format == FileFormat::Unknown) {
            continue;
        }
        const QString name = FileNamePart(ToQString(m_engine.FilePath(file)));
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        const QString base = dot < 0 ? name : name.left(dot);
        const QString originalExtension = dot < 0 ? QString() : name.mid(dot);
        const bool automatic = !IsMultichannelFormat(format) && m_nameOptions.useAutomaticNaming;
        QString path =
            JoinPath(EffectiveOutputFolder(file),
                     automatic ? QStringLiteral("Automatic") : base + m_nameOptions.stringToAdd);
        path += m_nameOptions.keepOriginalExtension
                    ? originalExtension
                    : ToQString(GetFileFormatExtensions(format).front());
        m_engine.SetFileAutoNaming(file, automatic);
        m_engine.SetFileOutputPath(file, path.toStdString());
    }
    m_model->Refill();
}

bool FrmMain::Refuse(const QString& text, int file, int column) {
    if (file >= 0) {
        m_grdFiles->setCurrentIndex(m_model->index(file, column));
    }
    ShowMessageBox(this, text, MessageIcon::Exclamation);
    m_grdFiles->setFocus();
    return false;
}

void FrmMain::StartClicked() {
    HideFormatsCombo();
    if (!CheckBeforeStart()) {
        return;
    }
    m_engine.SetDataInversion(m_chkInvert->isChecked());
    // A preview being read stops at its next step; the run goes first.
    m_preview->Stop();
    SetRunning(true);
    HoldMessages(true);
    m_engine.StartConversion();
    HoldMessages(false);
    SetRunning(false);
    if (std::exchange(m_closeAfterRun, false)) {
        close();
        return;
    }
    m_cmdConvert->setFocus();
    RunSummary(m_engine).Tell(this);
    PreviewCurrentFile();
}

bool FrmMain::CheckBeforeStart() {
    const int files = m_engine.FilesCount();
    if (files < 1) {
        return Refuse(QStringLiteral("There isn't any file to convert."));
    }
    for (int file = 0; file < files; ++file) {
        if (m_engine.FileOutputFormat(file) == FileFormat::Unknown) {
            return Refuse(QStringLiteral("Output format missing."), file,
                          FileTableModel::ColumnOutputFormat);
        }
    }
    std::error_code error;
    if (!m_chkOriginalFolder->isChecked() &&
        !std::filesystem::is_directory(m_settings.outputPath, error)) {
        return Refuse(QStringLiteral("The output folder doesn't exists."));
    }
    return m_chkMerge->isChecked() ? CheckMerge() : CheckSeparateOutputs();
}

bool FrmMain::CheckMerge() {
    const int files = m_engine.FilesCount();
    const FileFormat format = m_engine.FileOutputFormat(0);
    for (int file = 0; file < files; ++file) {
        if (m_engine.FileOutputFormat(file) != format) {
            return Refuse(kMergeEnabled + QStringLiteral("Select the same output format on all "
                                                         "files."),
                          file, FileTableModel::ColumnOutputFormat);
        }
    }
    if (!IsMultichannelFormat(format)) {
        return Refuse(kMergeEnabled + QStringLiteral("The selected output format isn't a "
                                                     "multichannel format."),
                      0, FileTableModel::ColumnOutputFormat);
    }
    if (const int limit = m_engine.MergeGoodChannelCount(); limit > 0) {
        return Refuse(kMergeEnabled + QStringLiteral("Can't merge more than ") +
                          QString::number(limit) + QStringLiteral(" channels in a ") +
                          FormatName(format) + QStringLiteral(" file."),
                      0, FileTableModel::ColumnOutputFormat);
    }
    if (const std::string problem = m_engine.MergeLimitProblem(); !problem.empty()) {
        return Refuse(kMergeEnabled + ToQString(problem), 0, FileTableModel::ColumnOutputFormat);
    }
    bool unusedAutoNaming = false;
    const QString answer = SaveFile(this, format, CommonOutputFolder(), {}, unusedAutoNaming);
    if (answer.isEmpty()) {
        return false;
    }
    const QString mergePath = JoinPath(CommonOutputFolder(), FileNamePart(answer));
    for (int file = 0; file < files; ++file) {
        if (SamePathIgnoringCase(mergePath, ToQString(m_engine.FilePath(file)))) {
            return Refuse(QStringLiteral("The selected name and path are the same of those ones "
                                         "of one of the input files."),
                          file, FileTableModel::ColumnOutputFileName);
        }
    }
    m_engine.SetMergeFilePath(mergePath.toStdString());
    return true;
}

bool FrmMain::CheckSeparateOutputs() {
    const int files = m_engine.FilesCount();
    const int nameColumn = FileTableModel::ColumnOutputFileName;
    for (int file = 0; file < files; ++file) {
        if (m_engine.FileOutputPath(file).empty()) {
            return Refuse(QStringLiteral("Output file name missing."), file, nameColumn);
        }
    }
    for (int file = 0; file < files; ++file) {
        if (!m_engine.FileAutoNaming(file) &&
            SamePathIgnoringCase(ToQString(m_engine.FileOutputPath(file)),
                                 ToQString(m_engine.FilePath(file)))) {
            return Refuse(QStringLiteral("The input and output file paths and names are the "
                                         "same."),
                          file, nameColumn);
        }
    }
    for (int file = 0; file < files; ++file) {
        if (m_engine.FileAutoNaming(file)) {
            continue;
        }
        for (int later = file + 1; later < files; ++later) {
            if (SamePathIgnoringCase(ToQString(m_engine.FileOutputPath(file)),
                                     ToQString(m_engine.FileOutputPath(later)))) {
                return Refuse(QStringLiteral("This input file name has been already chosen in "
                                             "the same path."),
                              later, nameColumn);
            }
        }
    }
    for (int file = 0; file < files; ++file) {
        if (const int limit = m_engine.GoodChannelCount(file); limit > 0) {
            return Refuse(QStringLiteral("Can't insert more than ") + QString::number(limit) +
                              QStringLiteral(" channels in a ") +
                              FormatName(m_engine.FileOutputFormat(file)) +
                              QStringLiteral(" file."),
                          file, nameColumn);
        }
    }
    if (const LimitRefusal refusal = FirstLimitRefusal(m_engine); refusal.file >= 0) {
        return Refuse(refusal.text, refusal.file, nameColumn);
    }
    m_engine.SetMergeFilePath({});
    return true;
}

void FrmMain::SetRunning(bool running) {
    m_converting = running;
    m_grdFiles->SetDropsEnabled(!running);
    m_cmdAbort->setEnabled(running);
    for (QWidget* control :
         std::initializer_list<QWidget*>{m_cmdAdd, m_cmdConvert, m_cmdRemove, m_cmdClean,
                                         m_cmdReset, m_chkMerge, m_chkInvert, m_cmdHeaderTool}) {
        control->setEnabled(!running);
    }
    const bool merge = m_chkMerge->isChecked();
    m_cmdBrowse->setEnabled(!running && !m_chkOriginalFolder->isChecked());
    m_chkOriginalFolder->setEnabled(!running && !merge);
    m_cmdOutNameWiz->setEnabled(!running && !merge);
    m_chkSameOutput->setEnabled(!running && !merge);
}

} // namespace vibrex
