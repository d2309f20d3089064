#include "ui/ModDialogs.h"

#include "engine/ClsConverter.h"
#include "ui/Prompts.h"
#include "ui/UiTools.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>

namespace vibrex {
namespace {

constexpr QLatin1String kForbiddenCharacters("/;\\;:;*;?;\";|;<;>");

// The dialogs are Qt's own, so the extra controls can be placed inside them.
void MakeNonNative(QFileDialog& dialog) {
    dialog.setOption(QFileDialog::DontUseNativeDialog);
}

// The extra control goes below the dialog's own controls, across their full width.
void AddBelow(QFileDialog& dialog, QWidget* control) {
    auto* grid = qobject_cast<QGridLayout*>(dialog.layout());
    grid->addWidget(control, grid->rowCount(), 0, 1, grid->columnCount());
}

// The catch-all filter entry and one format's entry ("SAC (*.sac)").
QString AllFilesFilter() {
    // "*.*" would hide the many recordings that have no extension at all on this platform.
    return QStringLiteral("All files (*)");
}

QStringList Patterns(FileFormat format) {
    QStringList patterns;
    for (const std::string& extension : GetFileFormatExtensions(format)) {
        patterns << QLatin1Char('*') + ToQString(extension);
    }
    return patterns;
}

QString Filter(const QString& description, const QStringList& patterns) {
    return description + QStringLiteral(" (") + patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
}

QString FormatFilter(FileFormat format) {
    return Filter(ToQString(FileFormatToString(format)), Patterns(format));
}

// Every extension of the formats that can be read; WAV is written only.
QString RecognisedFilter() {
    QStringList patterns;
    for (int value = 1; value < kFormatsCount; ++value) {
        if (static_cast<FileFormat>(value) == FileFormat::WAV) {
            continue;
        }
        for (const QString& pattern : Patterns(static_cast<FileFormat>(value))) {
            if (!patterns.contains(pattern, Qt::CaseInsensitive)) {
                patterns << pattern;
            }
        }
    }
    return Filter(QStringLiteral("All recognised recordings"), patterns);
}

// Recordings come from many systems: "EVENT.SAC" is as much a SAC file as "event.sac".
void IgnoreLetterCase(QFileDialog& dialog) {
    dialog.setFilter(dialog.filter() & ~QDir::CaseSensitive);
}

} // namespace

bool CheckFileNameText(QWidget* parent, const QString& text) {
    for (const QString& character : QString(kForbiddenCharacters).split(QLatin1Char(';'))) {
        if (text.contains(character)) {
            ShowMessageBox(parent, QStringLiteral("Invalid char: ") + character,
                           MessageIcon::Exclamation);
            return false;
        }
    }
    return true;
}

QStringList OpenFiles(QWidget* owner, const QString& startFolder, std::int32_t& filterIndex) {
    // Before any file was added, the user's own folder rather than the program's.
    QFileDialog dialog(owner, QStringLiteral("Select a file to convert"),
                       startFolder.isEmpty() ? QDir::homePath() : startFolder);
    MakeNonNative(dialog);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    IgnoreLetterCase(dialog);
    dialog.setFilter(dialog.filter() & ~QDir::Hidden);
    QStringList filters{AllFilesFilter()};
    for (int value = 1; value < kFormatsCount; ++value) {
        filters << FormatFilter(static_cast<FileFormat>(value));
    }
    filters << RecognisedFilter();
    dialog.setNameFilters(filters);
    dialog.selectNameFilter(filters.value(filterIndex, filters.front()));

    auto* frame = new QGroupBox(QStringLiteral("Detected format"), &dialog);
    frame->setObjectName(QStringLiteral("FraFormat"));
    auto* formatText = new QLineEdit(frame);
    formatText->setObjectName(QStringLiteral("TxtFormat"));
    formatText->setReadOnly(true);
    (new QHBoxLayout(frame))->addWidget(formatText);
    AddBelow(dialog, frame);
    QObject::connect(
        &dialog, &QFileDialog::currentChanged, formatText, [formatText](const QString& path) {
            formatText->setText(QFileInfo(path).isFile() ? ToQString(FileFormatToString(
                                                               GuessFileFormat(path.toStdString())))
                                                         : QString());
        });

    if (ExecModal(dialog) != QDialog::Accepted) {
        return {};
    }
    filterIndex = static_cast<std::int32_t>(
        std::max<qsizetype>(0, filters.indexOf(dialog.selectedNameFilter())));
    return dialog.selectedFiles();
}

QString SaveFile(QWidget* owner, FileFormat format, const QString& startFolder,
                 const QString& defaultName, bool& autoNaming) {
    QFileDialog dialog(owner, QStringLiteral("Select the output file name"), startFolder);
    MakeNonNative(dialog);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    IgnoreLetterCase(dialog);
    dialog.setNameFilter(FormatFilter(format));
    const std::vector<std::string> extensions = GetFileFormatExtensions(format);
    const QString extension = extensions.empty() ? QString() : ToQString(extensions.front());
    // Lets the dialog's own overwrite question see the completed name.
    dialog.setDefaultSuffix(extension.mid(1));
    if (!defaultName.isEmpty()) {
        dialog.selectFile(defaultName);
    }

    auto* autoName =
        new QCheckBox(QStringLiteral("Automatic filename (") +
                          ToQString(ClsConverter::AutomaticNameFormat()) + QLatin1Char(')'),
                      &dialog);
    autoName->setObjectName(QStringLiteral("ChkAutoName"));
    autoName->setChecked(autoNaming);
    // Automatic names exist only for single-channel outputs.
    autoName->setEnabled(!IsMultichannelFormat(format));
    AddBelow(dialog, autoName);

    if (ExecModal(dialog) != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    autoNaming = autoName->isChecked();
    return CompleteExtension(dialog.selectedFiles().front(), extension);
}

QString BrowseFolder(QWidget* owner, const QString& startFolder, const QString& title) {
    QFileDialog dialog(owner, title, startFolder);
    MakeNonNative(dialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    if (ExecModal(dialog) != QDialog::Accepted) {
        return {};
    }
    return dialog.selectedFiles().value(0);
}

QString CompleteExtension(const QString& path, const QString& extension) {
    const QString name = FileNamePart(path);
    if (!name.contains(QLatin1Char('.'))) {
        return path + extension;
    }
    if (name.endsWith(QLatin1Char('.'))) {
        return path + extension.mid(1);
    }
    return path;
}

QString FollowFormatExtension(const QString& path, FileFormat from, FileFormat to) {
    const std::vector<std::string> target = GetFileFormatExtensions(to);
    if (from == to || from == FileFormat::Unknown || target.empty()) {
        return path;
    }
    for (const std::string& extension : GetFileFormatExtensions(from)) {
        const QString old = ToQString(extension);
        if (FileNamePart(path).endsWith(old, Qt::CaseInsensitive) &&
            FileNamePart(path).size() > old.size()) {
            return path.left(path.size() - old.size()) + ToQString(target.front());
        }
    }
    return path;
}

} // namespace vibrex
