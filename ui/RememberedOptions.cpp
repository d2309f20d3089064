#include "ui/RememberedOptions.h"

#include "engine/ClsConverter.h"
#include "ui/UiTools.h"

#include <QCheckBox>
#include <QEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QSplitter>
#include <QTableView>

namespace vibrex {
namespace {

struct Box {
    const char* name;
    bool Settings::*value;
};

// Merge last: it unchecks "original folder" itself when it is on.
const Box kBoxes[] = {
    {"ChkOriginalFolder", &Settings::originalFolder},
    {"ChkSameOutput", &Settings::applyToAll},
    {"ChkInvert", &Settings::invertPolarity},
    {"ChkMerge", &Settings::merge},
};

QList<int> Numbers(const std::string& text) {
    QList<int> numbers;
    for (const QString& part : ToQString(text).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool valid = false;
        const int number = part.trimmed().toInt(&valid);
        if (!valid) {
            return {};
        }
        numbers << number;
    }
    return numbers;
}

std::string Text(const QList<int>& numbers) {
    QStringList parts;
    for (const int number : numbers) {
        parts << QString::number(number);
    }
    return parts.join(QLatin1Char(',')).toStdString();
}

// Resizes the window the first time it shows, after its minimum size was taken from the size
// it was built with, so that a larger saved size does not become the minimum.
class FirstShowGeometry final : public QObject {
public:
    FirstShowGeometry(QWidget& window, QList<int> geometry)
        : QObject(&window), m_geometry(std::move(geometry)) {
        window.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show) {
            auto* window = static_cast<QWidget*>(watched);
            // A place on a screen that is no longer there would hide the window.
            const QPoint place(m_geometry[0], m_geometry[1]);
            if (QGuiApplication::screenAt(place + QPoint(40, 40)) != nullptr) {
                window->move(place);
            }
            window->resize(m_geometry[2], m_geometry[3]);
            watched->removeEventFilter(this);
            deleteLater();
        }
        return false;
    }

private:
    QList<int> m_geometry;
};

QSplitter* Splitter(const QWidget& window) {
    return window.findChild<QSplitter*>(QStringLiteral("SplPreview"));
}

QHeaderView* Columns(const QWidget& window) {
    auto* grid = window.findChild<QTableView*>(QStringLiteral("GrdFiles"));
    return grid != nullptr ? grid->horizontalHeader() : nullptr;
}

} // namespace

void RememberedOptions::Restore(QWidget& window) const {
    for (const Box& box : kBoxes) {
        if (auto* check = window.findChild<QCheckBox*>(QString::fromLatin1(box.name))) {
            check->setChecked(m_settings.*box.value);
        }
    }
    if (const QList<int> sizes = Numbers(m_settings.splitterSizes); sizes.size() == 2) {
        Splitter(window)->setSizes(sizes);
    }
    const QList<int> widths = Numbers(m_settings.columnWidths);
    QHeaderView* columns = Columns(window);
    // The last column takes the rest of the grid's width, so it has no width of its own.
    for (int column = 0; column < widths.size() && column < columns->count() - 1; ++column) {
        if (widths[column] > 0) {
            columns->resizeSection(column, widths[column]);
        }
    }
    if (const QList<int> geometry = Numbers(m_settings.windowGeometry);
        geometry.size() == 4 && geometry[2] > 0 && geometry[3] > 0) {
        new FirstShowGeometry(window, geometry);
    }
}

void RememberedOptions::Capture(const QWidget& window) {
    for (const Box& box : kBoxes) {
        if (const auto* check = window.findChild<QCheckBox*>(QString::fromLatin1(box.name))) {
            m_settings.*box.value = check->isChecked();
        }
    }
    m_settings.splitterSizes = Text(Splitter(window)->sizes());
    QList<int> widths;
    const QHeaderView* columns = Columns(window);
    for (int column = 0; column < columns->count() - 1; ++column) {
        widths << columns->sectionSize(column);
    }
    m_settings.columnWidths = Text(widths);
    m_settings.windowGeometry = Text({window.x(), window.y(), window.width(), window.height()});
}

void RememberedOptions::GiveWav(ClsConverter& engine, int file) const {
    engine.SetWAVFactor(file, m_settings.wavFactor);
    engine.SetWAVBitCount(file, m_settings.wavBitCount);
    engine.SetWAVSamplingRate(file, m_settings.wavSamplingRate);
}

void RememberedOptions::TakeWav(const ClsConverter& engine, int file) {
    if (engine.WAVAvailable(file)) {
        m_settings.wavFactor = engine.WAVFactor(file);
        m_settings.wavBitCount = engine.WAVBitCount(file);
        m_settings.wavSamplingRate = engine.WAVSamplingRate(file);
    }
}

} // namespace vibrex
