#pragma once

#include "engine/FormatCatalogue.h"

#include <QString>
#include <QStringList>
#include <cstdint>

class QWidget;

// The open, save and folder dialogs of the window, with the format filters of the catalogue.
// Every function is modal; an empty result means the user cancelled.
namespace vibrex {

// False, after telling the user, when the text holds a character a file name cannot have.
bool CheckFileNameText(QWidget* parent, const QString& text);

// Several files at once. `filterIndex` selects the starting filter entry (0: all files, then
// each format by its value, then all recognised recordings) and receives the one the user left
// selected. Extensions match whatever their letter case.
QStringList OpenFiles(QWidget* owner, const QString& startFolder, std::int32_t& filterIndex);

// A name for an output of `format`; `autoNaming` presets the automatic-name box and receives
// its state when the user confirms. A name without an extension gets the format's.
QString SaveFile(QWidget* owner, FileFormat format, const QString& startFolder,
                 const QString& defaultName, bool& autoNaming);

QString BrowseFolder(QWidget* owner, const QString& startFolder, const QString& title);

// Appends `extension` (".sac") to a file name that has no "." at all, or the extension's
// letters to one that ends with "."; other names are kept as typed.
QString CompleteExtension(const QString& path, const QString& extension);
// A name that ends in one of `from`'s extensions (letter case aside) takes `to`'s first one
// instead; any other name is kept as it is.
QString FollowFormatExtension(const QString& path, FileFormat from, FileFormat to);

} // namespace vibrex
