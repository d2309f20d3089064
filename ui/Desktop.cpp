#include "ui/Desktop.h"

#include "ui/AppIcon.h"
#include "ui/FrmMain.h"
#include "ui/QtHost.h"

#include <QApplication>
#include <QElapsedTimer>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace vibrex {
namespace {

bool IsSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool DisplayAvailable() {
    return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY");
}

void SetUpApplication() {
    QApplication::setApplicationName(QString::fromLatin1(kApplicationTitle));
    QApplication::setApplicationVersion(QStringLiteral(VIBREX_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("vibrex"));
    QApplication::setWindowIcon(VibrexLogo(64));
}

// The application object comes first and goes last: the progress window lives inside it.
// Where the display cannot be reached, Qt falls back to drawing nowhere instead of ending the
// process, and the console reports the progress.
struct ApplicationHolder {
    ApplicationHolder() {
        if (std::getenv("QT_QPA_PLATFORM") == nullptr) {
            argc = 3;
            platforms = IsSet("WAYLAND_DISPLAY") ? "wayland;xcb;offscreen" : "xcb;offscreen";
            argv[2] = platforms.data();
        }
        application = std::make_unique<QApplication>(argc, argv);
        SetUpApplication();
    }

    char name[7] = "vibrex";
    char platformOption[10] = "-platform";
    std::string platforms;
    int argc = 1;
    char* argv[4] = {name, platformOption, nullptr, nullptr};
    std::unique_ptr<QApplication> application;
};

class BatchProgressHost final : private ApplicationHolder, public QtHost {
public:
    bool ShowsWindows() const {
        return QGuiApplication::platformName() != QLatin1String("offscreen");
    }
};

} // namespace

int RunDesktop(int argc, char** argv) {
    if (!DisplayAvailable() && !IsSet("QT_QPA_PLATFORM")) {
        std::fputs("vibrex: there is no display to open the window on; with arguments vibrex "
                   "converts without one (see vibrex --help).\n",
                   stderr);
        return 1;
    }
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
    if (!DisplayAvailable()) {
        return nullptr;
    }
    auto host = std::make_unique<BatchProgressHost>();
    if (!host->ShowsWindows()) {
        return nullptr;
    }
    return host;
}

} // namespace vibrex
