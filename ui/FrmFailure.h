#pragma once

#include <QDialog>

class QPlainTextEdit;

namespace vibrex {

// The engine's full text of why a file failed, to read, select and copy.
class FrmFailure final : public QDialog {
    Q_OBJECT

public:
    FrmFailure(const QString& fileName, const QString& errorText, QWidget* parent = nullptr);
    QString Text() const;

private:
    QPlainTextEdit* m_txtDetails = nullptr;
};

} // namespace vibrex
