#pragma once

#include <QDialog>

namespace vibrex {

// The about box, also shown as the startup logo. Its check box turns the logo off.
class FrmAbout final : public QDialog {
    Q_OBJECT

public:
    FrmAbout(bool& startupLogo, QWidget* parent = nullptr);
};

} // namespace vibrex
