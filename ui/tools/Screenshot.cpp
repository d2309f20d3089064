// Takes the picture of the main window for the README: several recordings, in the preview a
// three-station Seisan event whose channels start at different times, and another recording
// halfway through its conversion. Run it under Xvfb through scripts/screenshot.sh.
#include "engine/ClsConverter.h"
#include "ui/FileGrid.h"
#include "ui/FileTableModel.h"
#include "ui/FrmMain.h"
#include "ui/PreviewPane.h"
#include "ui/Prompts.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <cstdio>

namespace {

constexpr int kSamples = 40000;
constexpr int kShotFile = 3;
constexpr int kShotPercent = 62;

// A synthetic event: background noise, then a decaying wave train from `arrival` seconds after
// the recording's start on.
QByteArray Recording(const char* station, const char* component, double arrival,
                     const char* start = "02:47:10.000") {
    QByteArray text = "! PSN ASCII Event File Format 2.0\r\n"
                      "Start Time: 2026/03/14 " +
                      QByteArray(start) +
                      "\r\n"
                      "Number of Samples: " +
                      QByteArray::number(kSamples) +
                      "\r\nSPS: 100\r\nA/D Converter Bits: 24\r\n"
                      "Station Code: " +
                      QByteArray(station) + "\r\nComponent Name: " + QByteArray(component) +
                      "\r\nData: \r\n";
    for (int i = 0; i < kSamples; ++i) {
        const double t = i / 100.0 - arrival;
        const double wave = t < 0 ? 0 : 9000 * std::exp(-t / 25) * std::sin(t * 7.1);
        text += QByteArray::number(std::lround(wave + 40 * std::sin(i * 0.37))) + "\r\n";
    }
    return text;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: vibrex_screenshot OUTPUT.png\n", stderr);
        return 2;
    }
    const QString target = QString::fromLocal8Bit(argv[1]);
    QApplication application(argc, argv);
    QTemporaryDir work;
    const QString folder = work.path() + QStringLiteral("/recordings");
    const QString output = work.path() + QStringLiteral("/converted");
    QDir().mkpath(folder);
    QDir().mkpath(output);
    QFile settings(work.filePath(QStringLiteral("Vibrex.ini")));
    settings.open(QIODevice::WriteOnly);
    settings.write("Output path=" + output.toUtf8() + "\r\n");
    settings.close();

    struct Source {
        const char* file;
        const char* station;
        const char* component;
        double arrival;
    };
    const Source sources[] = {{"VBRX_HHZ.psn", "VBRX", "HHZ", 60},
                              {"VBRX_HHN.psn", "VBRX", "HHN", 61},
                              {"MONT_HHZ.psn", "MONT", "HHZ", 75},
                              {"MONT_HHE.psn", "MONT", "HHE", 76},
                              {"LAGO_EHZ.psn", "LAGO", "EHZ", 90}};
    // Three stations that began recording at different times, merged into one Seisan file as
    // an event would arrive: the one that started last is nearest.
    const struct {
        const char* file;
        const char* station;
        const char* start;
        double arrival;
    } stations[] = {{"KBS.psn", "KBS", "02:47:10.000", 300},
                    {"LOF.psn", "LOF", "02:49:56.000", 112},
                    {"KONO.psn", "KONO", "02:50:27.000", 62}};
    vibrex::ConverterHost quiet;
    vibrex::ClsConverter merger(&quiet, work.path().toStdString());
    for (const auto& station : stations) {
        QFile file(work.path() + QLatin1Char('/') + QLatin1String(station.file));
        file.open(QIODevice::WriteOnly);
        file.write(Recording(station.station, "HHZ", station.arrival, station.start));
        file.close();
        merger.AddFile(file.fileName().toStdString());
        merger.SetFileOutputFormat(merger.FilesCount() - 1, vibrex::FileFormat::Seisan);
    }
    const QString event = folder + QStringLiteral("/2026-03-14-0247-10S.VBRX__003");
    merger.SetMergeFilePath(event.toStdString());
    merger.StartConversion();

    QStringList paths{event};
    for (const Source& source : sources) {
        QFile file(folder + QLatin1Char('/') + QLatin1String(source.file));
        file.open(QIODevice::WriteOnly);
        file.write(Recording(source.station, source.component, source.arrival));
        paths << file.fileName();
    }

    vibrex::FrmMain window(work.path().toStdString(), work.filePath("Vibrex.ini").toStdString());
    window.move(0, 0);
    window.resize(1180, 780);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) {
        std::fputs("vibrex_screenshot: the window did not show\n", stderr);
        return 1;
    }
    auto* grid = window.findChild<vibrex::FileGrid*>(QStringLiteral("GrdFiles"));
    emit grid->FilesDropped(paths);

    // A double click on a title fits the column to its texts.
    QHeaderView* titles = grid->horizontalHeader();
    const int channelsTitle =
        titles->sectionViewportPosition(vibrex::FileTableModel::ColumnChannelsCount) +
        titles->sectionSize(vibrex::FileTableModel::ColumnChannelsCount) / 2;
    QTest::mouseClick(titles->viewport(), Qt::LeftButton, {}, QPoint(channelsTitle, 5));
    QTest::mouseDClick(titles->viewport(), Qt::LeftButton, {}, QPoint(channelsTitle, 5));

    // One format for every file, chosen through the in-cell combo.
    window.findChild<QCheckBox*>(QStringLiteral("ChkSameOutput"))->setChecked(true);
    const QRect cell =
        grid->visualRect(grid->model()->index(0, vibrex::FileTableModel::ColumnOutputFormat));
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
    auto* combo = window.findChild<QComboBox*>(QStringLiteral("CmbFormats"));
    const int psn = combo->findText(QStringLiteral("PSNINT"));
    combo->setCurrentIndex(psn);
    emit combo->activated(psn);

    // The first recording in the preview, read before the run starts.
    auto* preview = window.findChild<vibrex::PreviewPane*>(QStringLiteral("PreviewPane"));
    QSignalSpy previewed(preview, &vibrex::PreviewPane::Finished);
    grid->setCurrentIndex(grid->model()->index(0, vibrex::FileTableModel::ColumnFileName));
    if (!previewed.wait(20000)) {
        std::fputs("vibrex_screenshot: the preview did not finish\n", stderr);
        return 1;
    }

    vibrex::SetMessageHandler([](const vibrex::Message& message) {
        std::fprintf(stderr, "vibrex_screenshot: %s\n", qPrintable(message.text));
        return false;
    });
    vibrex::SetDialogHandler([](QDialog& dialog) {
        dialog.findChild<QLineEdit*>(QStringLiteral("TxtAddChar"))
            ->setText(QStringLiteral("_copy"));
        dialog.accept();
        return dialog.result();
    });
    window.findChild<QPushButton*>(QStringLiteral("CmdOutNameWiz"))->click();

    bool saved = false;
    QObject::connect(grid->model(), &QAbstractItemModel::dataChanged, &window, [&] {
        if (saved || window.Converter().FileProgress(kShotFile) < kShotPercent) {
            return;
        }
        window.repaint();
        QApplication::processEvents();
        saved = window.screen()->grabWindow(0, 0, 0, window.width(), window.height()).save(target);
    });
    window.findChild<QPushButton*>(QStringLiteral("CmdConvert"))->click();
    window.close();
    if (!saved) {
        std::fputs("vibrex_screenshot: the picture was not saved\n", stderr);
        return 1;
    }
    return 0;
}
