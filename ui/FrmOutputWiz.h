#pragma once

#include <QDialog>

class QCheckBox;
class QLineEdit;

namespace vibrex {

// What the output file name tool asks for; the main window names the outputs from it.
struct OutputNameOptions {
    QString stringToAdd;
    bool keepOriginalExtension = false;
    bool useAutomaticNaming = false;
    bool confirmed = false;
};

// "Output file name tool": resets the options when it opens and fills them only on OK.
class FrmOutputWiz final : public QDialog {
    Q_OBJECT

public:
    FrmOutputWiz(OutputNameOptions& options, QWidget* parent = nullptr);

    void accept() override;

private:
    OutputNameOptions& m_options;
    QLineEdit* m_txtAddChar;
    QCheckBox* m_chkOriginalExt;
    QCheckBox* m_chkAutoName;
};

} // namespace vibrex
