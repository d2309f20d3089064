#pragma once

#include "engine/FormatCatalogue.h"

#include <QString>
#include <string>

class QComboBox;
class QDialog;
class QDialogButtonBox;
class QTableView;
class QWidget;

// Small pieces shared by the main window and the dialogs.
namespace vibrex {

// Window measures of the system are in twips: 1440 to the inch.
int TwipsToPixels(const QWidget& widget, int twips);

// Fits a column to its widest text, title included, plus a small margin; a column without
// any text keeps its width.
void FitColumnToContents(QTableView& grid, int column);

// One item per output format, its text the format's name and its data the format's value.
void FillFormatsCombo(QComboBox& combo);
// Selects the item of `format`, or none when no item has it.
void SelectFormat(QComboBox& combo, FileFormat format);

// "OK" (CmdOk) and "Cancel" (named `cancelName`), wired to the dialog's accept and reject.
QDialogButtonBox* OkCancelButtons(QDialog& dialog, const QString& cancelName);

// A window can never be made smaller than the size it first showed with.
void KeepMinimumSize(QWidget& window);

// Paths are split at the last separator: "/data/a.sac" is "/data" and "a.sac".
QString FileNamePart(const QString& path);
QString FolderPart(const QString& path);
QString JoinPath(const QString& folder, const QString& name);

QString ToQString(const std::string& text);

} // namespace vibrex
