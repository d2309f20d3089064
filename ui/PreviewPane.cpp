#include "ui/PreviewPane.h"

#include "engine/ClsConverter.h"
#include "engine/HeaderProperties.h"
#include "ui/UiTools.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>
#include <cmath>

namespace vibrex {
namespace {

constexpr int kGap = 6;
constexpr std::size_t kPreviewBuckets = 4096;

// The pane's part of the width; the view inside grows downwards when it has many channels.
QScrollArea* Scrolled(WaveformView* view) {
    auto* area = new QScrollArea;
    area->setWidget(view);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFrameShape(QFrame::NoFrame);
    // The axis stays at the foot of the part on screen, so every scroll redraws it.
    QObject::connect(area->verticalScrollBar(), &QScrollBar::valueChanged, view,
                     qOverload<>(&QWidget::update));
    return area;
}

bool IsWavName(const QString& path) {
    for (const std::string& extension : GetFileFormatExtensions(FileFormat::WAV)) {
        if (path.endsWith(ToQString(extension), Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}

QString CountsText(double value) {
    return QString::number(value, 'g', 10);
}

// A trace is at least tall enough for its name and its two extremes, one above the other.
double MinimumBand(const QFontMetrics& metrics) {
    return 2 * metrics.height() + 4;
}

// Every column is a filled run of device pixels from the column's maximum to its minimum,
// at least one pixel tall, and it reaches the neighbouring column's values: a flat or quiet
// stretch is one unbroken line.
void PaintTrace(QPainter& painter, const QRectF& band, const TimeAxis& axis,
                const ChannelPreview& channel) {
    const Envelope& envelope = channel.envelope;
    const double lowest = envelope.Lowest();
    const double highest = envelope.Highest();
    const auto yOf = [&](double value) {
        return highest > lowest
                   ? band.bottom() - (value - lowest) / (highest - lowest) * band.height()
                   : band.center().y();
    };
    const double pixelRatio = painter.device()->devicePixelRatioF();
    const double pixel = 1 / pixelRatio;
    const double left = band.left() + axis.StartOf(channel) / axis.Span() * band.width();
    const double width = axis.LengthOf(channel) / axis.Span() * band.width();
    const int columns = std::max(1, static_cast<int>(std::lround(width * pixelRatio)));
    const auto ranges = envelope.Columns(columns);
    QList<QRectF> rects;
    rects.reserve(static_cast<qsizetype>(ranges.size()));
    for (std::size_t column = 0; column < ranges.size(); ++column) {
        Envelope::Range range = ranges[column];
        if (column > 0) {
            range.minimum = std::min(range.minimum, ranges[column - 1].maximum);
            range.maximum = std::max(range.maximum, ranges[column - 1].minimum);
        }
        const double top = yOf(range.maximum);
        const double height = std::max(pixel, yOf(range.minimum) - top);
        rects.append(QRectF(left + static_cast<double>(column) * pixel,
                            std::min(top, band.bottom() - pixel), pixel, height));
    }
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(TraceColor());
    painter.drawRects(rects);
    painter.restore();
}

// Height of the axis: its line, ticks, labels and title.
double AxisHeight(const QFontMetrics& metrics) {
    return 2 * metrics.height() + 10;
}

// Just under the last band, so that a trace at its band's foot stays in sight; when that lies
// below the part of the view on screen, at the foot of that part, over the traces.
void PaintTimeAxis(QPainter& painter, const WaveformLayout& layout, const TimeAxis& axis,
                   const QRect& visible, const QPalette& palette) {
    const QFontMetrics metrics = painter.fontMetrics();
    double y = layout.plot.bottom() + 2;
    if (!visible.isNull() && y + AxisHeight(metrics) > visible.bottom()) {
        y = visible.bottom() - AxisHeight(metrics);
        painter.fillRect(QRectF(visible.left(), y, visible.width(), AxisHeight(metrics) + 1),
                         palette.color(QPalette::Base));
    }
    const double left = layout.plot.left();
    const double width = layout.plot.width();
    painter.setPen(palette.color(QPalette::Text));
    painter.drawLine(QPointF(left, y), QPointF(left + width, y));
    const int spacing = metrics.horizontalAdvance(axis.WidestLabel()) + 3 * kGap;
    for (const TimeAxis::Tick& tick : axis.Ticks(static_cast<int>(width) / spacing)) {
        const double x = left + tick.at / axis.Span() * width;
        painter.drawLine(QPointF(x, y), QPointF(x, y + 4));
        const double labelWidth = metrics.horizontalAdvance(tick.label);
        const double labelLeft = std::clamp(x - labelWidth / 2, left, left + width - labelWidth);
        painter.drawText(QPointF(labelLeft, y + 4 + metrics.ascent()), tick.label);
    }
    painter.drawText(QRectF(left, y + 4 + metrics.height(), width, metrics.height()),
                     Qt::AlignHCenter,
                     metrics.elidedText(axis.Title(), Qt::ElideRight, static_cast<int>(width)));
}

} // namespace

QColor TraceColor() {
    // Readable on a light and on a dark background alike.
    return QColor::fromRgb(0x2F, 0x80, 0xED);
}

int MinimumWaveformHeight(std::size_t channels, const QFontMetrics& metrics) {
    const double bands = static_cast<double>(channels) * (MinimumBand(metrics) + kGap);
    return static_cast<int>(std::ceil(bands + metrics.height() + 2 * kGap + AxisHeight(metrics)));
}

WaveformLayout LayOutWaveform(const QRect& area, const WaveformPreview& preview,
                              const QFontMetrics& metrics) {
    WaveformLayout layout;
    const auto& channels = preview.channels;
    if (channels.empty()) {
        return layout;
    }
    int labelWidth = metrics.horizontalAdvance(QStringLiteral("-8388608"));
    for (const ChannelPreview& channel : channels) {
        labelWidth =
            std::max({labelWidth, metrics.horizontalAdvance(CountsText(channel.envelope.Highest())),
                      metrics.horizontalAdvance(CountsText(channel.envelope.Lowest()))});
    }
    const double marginRight = area.left() + labelWidth + 2 * kGap;
    const double top = area.top() + metrics.height() + kGap;
    const double available = area.bottom() - AxisHeight(metrics) - top;
    const auto count = static_cast<double>(channels.size());
    const double band = std::max(MinimumBand(metrics), (available - kGap * (count - 1)) / count);
    layout.plot = QRectF(QPointF(marginRight, top), QSizeF(area.right() - 2 * kGap - marginRight,
                                                           count * (band + kGap) - kGap));
    const double lineHeight = metrics.height();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const QRectF bandRect(layout.plot.left(), top + static_cast<double>(i) * (band + kGap),
                              layout.plot.width(), band);
        layout.bands.push_back(bandRect);
        const ChannelPreview& channel = channels[i];
        const QString name =
            QString::fromStdString(channel.station + " " + channel.component).trimmed();
        layout.labels.push_back({QRectF(bandRect.left() + 4, bandRect.top(),
                                        metrics.horizontalAdvance(name) + 8, lineHeight),
                                 name, Qt::AlignCenter, true});
        // The extremes stand at the band's top and bottom; a band too low for both shows
        // neither rather than one over the other.
        if (band >= 2 * lineHeight) {
            const double width = labelWidth + kGap;
            layout.labels.push_back({QRectF(area.left(), bandRect.top(), width, lineHeight),
                                     CountsText(channel.envelope.Highest()),
                                     Qt::AlignRight | Qt::AlignTop, false});
            layout.labels.push_back(
                {QRectF(area.left(), bandRect.bottom() - lineHeight, width, lineHeight),
                 CountsText(channel.envelope.Lowest()), Qt::AlignRight | Qt::AlignBottom, false});
        }
    }
    return layout;
}

void PaintWaveform(QPainter& painter, const QRect& area, const WaveformPreview& preview,
                   const TimeAxis& axis, const QString& caption, const QPalette& palette,
                   const QRect& visible) {
    painter.fillRect(area, palette.color(QPalette::Base));
    painter.setPen(palette.color(QPalette::Text));
    const QRect captionBox = area.adjusted(kGap, 2, -kGap, 0);
    painter.drawText(
        captionBox, Qt::AlignLeft | Qt::AlignTop,
        painter.fontMetrics().elidedText(caption, Qt::ElideMiddle, captionBox.width()));
    const WaveformLayout layout = LayOutWaveform(area, preview, painter.fontMetrics());
    if (layout.plot.width() < 1 || axis.Span() <= 0) {
        return;
    }
    for (std::size_t i = 0; i < layout.bands.size(); ++i) {
        painter.fillRect(layout.bands[i], palette.color(QPalette::AlternateBase));
        PaintTrace(painter, layout.bands[i], axis, preview.channels[i]);
    }
    for (const WaveformLayout::Label& label : layout.labels) {
        if (label.opaque) {
            painter.fillRect(label.box, palette.color(QPalette::Base));
        }
        painter.setPen(palette.color(QPalette::Text));
        painter.drawText(label.box, label.alignment, label.text);
    }
    PaintTimeAxis(painter, layout, axis, visible, palette);
}

WaveformView::WaveformView(QWidget* parent) : QWidget(parent) {
    setMinimumSize(240, 140);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void WaveformView::SetPreview(WaveformPreview preview, const QString& caption) {
    m_preview = std::move(preview);
    m_axis = TimeAxis({&m_preview});
    m_caption = caption;
    m_notice.clear();
    // Many channels make the view taller than its pane, which then scrolls.
    setMinimumHeight(
        std::max(140, MinimumWaveformHeight(m_preview.channels.size(), fontMetrics())));
    update();
}

void WaveformView::SetAxis(const TimeAxis& axis) {
    m_axis = axis;
    update();
}

void WaveformView::SetNotice(const QString& notice) {
    m_preview = {};
    m_axis = {};
    m_notice = notice;
    setMinimumHeight(140);
    update();
}

void WaveformView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    if (!m_notice.isEmpty()) {
        painter.fillRect(rect(), palette().color(QPalette::Base));
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(rect().adjusted(kGap, kGap, -kGap, -kGap),
                         Qt::AlignCenter | Qt::TextWordWrap, m_notice);
        return;
    }
    PaintWaveform(painter, rect(), m_preview, m_axis, m_caption, palette(),
                  visibleRegion().boundingRect());
}

PreviewPane::PreviewPane(ClsConverter& engine, QWidget* parent)
    : QWidget(parent), m_engine(engine) {
    setObjectName(QStringLiteral("PreviewPane"));
    m_title = new QLabel(QStringLiteral("Preview"), this);
    m_title->setObjectName(QStringLiteral("LblPreview"));
    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("PrgPreview"));
    m_progress->setRange(0, 100);
    m_progress->setMaximumWidth(180);
    m_progress->hide();
    m_chkShowOutput = new QCheckBox(QStringLiteral("Show output beside input"), this);
    m_chkShowOutput->setObjectName(QStringLiteral("ChkShowOutput"));
    m_chkShowOutput->setEnabled(false);
    m_inputView = new WaveformView(this);
    m_inputView->setObjectName(QStringLiteral("WaveInput"));
    m_inputView->SetNotice(QStringLiteral("Select a file to see its waveform."));
    m_outputView = new WaveformView(this);
    m_outputView->setObjectName(QStringLiteral("WaveOutput"));

    auto* top = new QHBoxLayout;
    top->addWidget(m_title, 1);
    top->addWidget(m_progress);
    top->addWidget(m_chkShowOutput);
    auto* views = new QHBoxLayout;
    views->addWidget(Scrolled(m_inputView));
    m_outputArea = Scrolled(m_outputView);
    m_outputArea->hide();
    views->addWidget(m_outputArea);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(top);
    layout->addLayout(views, 1);

    m_start = new QTimer(this);
    m_start->setSingleShot(true);
    connect(m_start, &QTimer::timeout, this, &PreviewPane::RunRequests);
    connect(m_chkShowOutput, &QCheckBox::toggled, this,
            [this] { ShowRecording(m_request.input, m_request.outputs); });
}

void PreviewPane::ShowRecording(const QString& input, const QStringList& outputs) {
    m_request = {input, outputs};
    m_pending = true;
    UpdateOutputToggle();
    if (m_busy) {
        m_stopRequested = true; // the running loop takes the request at its next step
    } else {
        m_start->start(0);
    }
}

void PreviewPane::Stop() {
    m_start->stop();
    m_pending = false;
    m_stopRequested = m_busy;
}

void PreviewPane::UpdateOutputToggle() {
    m_chkShowOutput->setEnabled(!m_request.outputs.isEmpty());
}

void PreviewPane::RunRequests() {
    if (m_busy) {
        return;
    }
    m_busy = true;
    while (m_pending) {
        m_pending = false;
        m_stopRequested = false;
        Show(Request(m_request));
    }
    m_progress->hide();
    m_busy = false;
    emit Finished();
}

void PreviewPane::Show(const Request& request) {
    const bool showOutput = m_chkShowOutput->isChecked() && !request.outputs.isEmpty();
    m_outputArea->setVisible(showOutput);
    if (request.input.isEmpty()) {
        m_title->setText(QStringLiteral("Preview"));
        m_inputView->SetNotice(QStringLiteral("Select a file to see its waveform."));
        m_shownInput.clear();
        return;
    }
    m_title->setText(QStringLiteral("Preview of ") + FileNamePart(request.input));
    // A recording already on screen is not read again, only the output beside it.
    if (request.input != m_shownInput) {
        m_shownInput.clear();
        if (!Read({request.input}, *m_inputView)) {
            return;
        }
        m_shownInput = request.input;
        emit Shown(request.input);
    }
    if (showOutput && Read(request.outputs, *m_outputView)) {
        ShareAxis();
    }
}

void PreviewPane::ShareAxis() {
    const TimeAxis axis({&m_inputView->Preview(), &m_outputView->Preview()});
    m_inputView->SetAxis(axis);
    m_outputView->SetAxis(axis);
}

void PreviewPane::HeaderEdited() {
    if (m_shownInput.isEmpty() || m_busy) {
        return;
    }
    WaveformPreview relabelled = m_inputView->Preview();
    ApplyEditedHeader(relabelled, m_shownInput);
    m_inputView->SetPreview(std::move(relabelled), m_inputView->Caption());
    if (m_outputArea->isVisible()) {
        ShareAxis();
    }
}

// The names and start times the conversion will write: the engine's header of the file, which
// the header editor may have changed since the file was read.
void PreviewPane::ApplyEditedHeader(WaveformPreview& preview, const QString& input) const {
    if (const int file = FileIndexOf(input); file >= 0) {
        const int channels =
            std::min(m_engine.FileChannelsCount(file), static_cast<int>(preview.channels.size()));
        for (int channel = 0; channel < channels; ++channel) {
            ChannelPreview& shown = preview.channels[static_cast<std::size_t>(channel)];
            shown.station = m_engine.HeaderProperty(file, channel, kStationCode);
            shown.component = m_engine.HeaderProperty(file, channel, kComponentName);
            shown.startTime = m_engine.HeaderProperty(file, channel, kStartTime);
        }
    }
}

int PreviewPane::FileIndexOf(const QString& path) const {
    for (int file = 0; file < m_engine.FilesCount(); ++file) {
        if (ToQString(m_engine.FilePath(file)) == path) {
            return file;
        }
    }
    return -1;
}

bool PreviewPane::Read(const QStringList& paths, WaveformView& view) {
    view.SetNotice(QStringLiteral("Reading..."));
    m_progress->setValue(0);
    m_progress->show();
    WaveformPreview combined;
    QStringList names;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const auto step = [&](double fraction) {
            m_progress->setValue(
                static_cast<int>((static_cast<double>(i) + fraction) * 100 / paths.size()));
            QCoreApplication::processEvents();
            return !m_stopRequested;
        };
        if (IsWavName(paths[i])) {
            view.SetNotice(FileNamePart(paths[i]) +
                           QStringLiteral(" is a WAV sound file, written for listening: Vibrex "
                                          "writes WAV but does not read it, so it has no "
                                          "preview."));
            return true;
        }
        const int file = FileIndexOf(paths[i]);
        // A listed file that changed since it was added is refused as its conversion would be.
        const std::string changed = file >= 0 ? m_engine.FileChangeText(file) : std::string();
        WaveformPreview part;
        if (changed.empty()) {
            part = PreviewRecording(m_engine, paths[i].toStdString(), step, kPreviewBuckets,
                                    file >= 0 ? m_engine.FileFormat(file) : FileFormat::Unknown);
        } else {
            part.outcome = WaveformPreview::Outcome::Failed;
            part.errorText = changed;
        }
        if (part.outcome == WaveformPreview::Outcome::Stopped) {
            return false;
        }
        if (part.outcome == WaveformPreview::Outcome::Failed) {
            view.SetNotice(
                QStringLiteral("No preview of ") + FileNamePart(paths[i]) + QStringLiteral(":\n") +
                ToQString(part.errorText).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
            return true;
        }
        for (ChannelPreview& channel : part.channels) {
            combined.channels.push_back(std::move(channel));
        }
        names << FileNamePart(paths[i]);
    }
    combined.outcome = WaveformPreview::Outcome::Complete;
    if (&view == m_inputView) {
        ApplyEditedHeader(combined, paths.front());
    }
    const QString caption = &view == m_outputView ? QStringLiteral("Output: ") : QString();
    view.SetPreview(std::move(combined), caption + names.join(QStringLiteral(", ")));
    return true;
}

} // namespace vibrex
