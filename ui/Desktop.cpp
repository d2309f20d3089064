#include "ui/Desktop.h"

#include "ui/AppIcon.h"
#include "ui/FrmMain.h"
#include "ui/QtHost.h"

#include <QApplication>
#include <QElapsedTimer>
#include <cstdlib>

namespace vibrex {
namespace {

bool DisplayAvailable() {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return true;
        }
    }
    return false;
}

void SetUpApplication() {
    QApplication::setApplicationName(QString::fromLatin1(kApplicationTitle));
    QApplication::setApplicationVersion(QStringLiteral(VIBREX_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("vibrex"));
    QApplication::setWindowIcon(VibrexLogo(64));
}

// The application object comes first and goes last: the progress window lives inside it.
struct ApplicationHolder {
    ApplicationHolder() : application(std::make_unique<QApplication>(m_argc, m_argv)) {
        SetUpApplication();
    }

    int m_argc = 1;
    char m_name[7] = "vibrex";
    char* m_argv[2] = {m_name, nullptr};
    std::unique_ptr<QApplication> application;
};

class BatchProgressHost final : private ApplicationHolder, public QtHost {};

} // namespace

int RunDesktop(int argc, char** argv) {
    QElapsedTimer sinceStart;
    sinceStart.start();
    QApplication application(argc, argv);
    SetUpApplication();
    FrmMain window;
    window.ShowStartupLogo(sinceStart);
    window.show();
    return application.exec();
}

std::unique_ptr<ConverterHost> MakeBatchProgressHost() {
    if (!DisplayAvailable() || QCoreApplication::instance() != nullptr) {
        return nullptr;
    }
    return std::make_unique<BatchProgressHost>();
}

} // namespace vibrex
