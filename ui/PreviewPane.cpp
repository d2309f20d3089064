#include "ui/PreviewPane.h"

#include "ui/UiTools.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QTimer>
#include <QVBoxLayout>
#include <cmath>

namespace vibrex {
namespace {

constexpr int kGap = 6;
constexpr int kPixelsPerTick = 90;

// Time runs in seconds when every channel has a sampling rate, else in samples.
double Duration(const ChannelPreview& channel, bool inSeconds) {
    const auto samples = static_cast<double>(channel.envelope.Count());
    return inSeconds ? samples / channel.samplesPerSecond : samples;
}

// 1, 2 or 5 times a power of ten, so that about `ticks` ticks span `span`.
double TickStep(double span, int ticks) {
    const double raw = span / std::max(1, ticks);
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * magnitude >= raw) {
            return factor * magnitude;
        }
    }
    return 10 * magnitude;
}

QString CountsText(double value) {
    return QString::number(value, 'g', 10);
}

void PaintTrace(QPainter& painter, const QRectF& band, double widthShare,
                const ChannelPreview& channel) {
    const Envelope& envelope = channel.envelope;
    const double lowest = envelope.Lowest();
    const double highest = envelope.Highest();
    const double span = highest > lowest ? highest - lowest : 1.0;
    const auto yOf = [&](double value) {
        return highest > lowest ? band.bottom() - (value - lowest) / span * band.height()
                                : band.center().y();
    };
    // One column per device pixel, so that a HiDPI screen gets its full detail.
    const double pixelRatio = painter.device()->devicePixelRatioF();
    const int columns =
        std::max(1, static_cast<int>(std::lround(band.width() * widthShare * pixelRatio)));
    const auto ranges = envelope.Columns(columns);
    QList<QLineF> lines;
    lines.reserve(static_cast<qsizetype>(ranges.size()));
    for (std::size_t column = 0; column < ranges.size(); ++column) {
        Envelope::Range range = ranges[column];
        // Each column reaches its neighbour, so that a steep signal stays one line.
        if (column > 0) {
            range.minimum = std::min(range.minimum, ranges[column - 1].maximum);
            range.maximum = std::max(range.maximum, ranges[column - 1].minimum);
        }
        const double x = band.left() + (static_cast<double>(column) + 0.5) / pixelRatio;
        lines.append(QLineF(x, yOf(range.maximum), x, yOf(range.minimum)));
    }
    painter.setPen(QPen(TraceColor(), 0));
    painter.drawLines(lines);
}

void PaintLabels(QPainter& painter, const QRectF& band, const QRectF& margin,
                 const ChannelPreview& channel, const QPalette& palette) {
    const QFontMetrics metrics = painter.fontMetrics();
    painter.setPen(palette.color(QPalette::Text));
    const QString name =
        QString::fromStdString(channel.station + " " + channel.component).trimmed();
    const QRectF nameBox(band.left() + 4, band.top(), metrics.horizontalAdvance(name) + 8,
                         metrics.height());
    painter.fillRect(nameBox, palette.color(QPalette::Base));
    painter.drawText(nameBox, Qt::AlignCenter, name);
    const QRectF top(margin.left(), band.top(), margin.width() - 6, metrics.height());
    const QRectF bottom(margin.left(), band.bottom() - metrics.height(), margin.width() - 6,
                        metrics.height());
    painter.drawText(top, Qt::AlignRight | Qt::AlignTop, CountsText(channel.envelope.Highest()));
    painter.drawText(bottom, Qt::AlignRight | Qt::AlignBottom,
                     CountsText(channel.envelope.Lowest()));
}

void PaintTimeAxis(QPainter& painter, const QRectF& plot, double span, bool inSeconds,
                   const std::string& startTime, const QPalette& palette) {
    const QFontMetrics metrics = painter.fontMetrics();
    painter.setPen(palette.color(QPalette::Text));
    painter.drawLine(QPointF(plot.left(), plot.bottom()), QPointF(plot.right(), plot.bottom()));
    const double step = TickStep(span, static_cast<int>(plot.width()) / kPixelsPerTick);
    for (double t = 0; t <= span * (1 + 1e-9); t += step) {
        const double x = plot.left() + t / span * plot.width();
        painter.drawLine(QPointF(x, plot.bottom()), QPointF(x, plot.bottom() + 4));
        const QString label = QString::number(t, 'g', 8);
        const double width = metrics.horizontalAdvance(label);
        const double left = std::clamp(x - width / 2, plot.left(), plot.right() - width);
        painter.drawText(QPointF(left, plot.bottom() + 4 + metrics.ascent()), label);
    }
    const QString title = inSeconds
                              ? QStringLiteral("Seconds from ") + QString::fromStdString(startTime)
                              : QStringLiteral("Samples");
    painter.drawText(
        QRectF(plot.left(), plot.bottom() + 4 + metrics.height(), plot.width(), metrics.height()),
        Qt::AlignHCenter, title);
}

} // namespace

QColor TraceColor() {
    // Readable on a light and on a dark background alike.
    return QColor::fromRgb(0x2F, 0x80, 0xED);
}

void PaintWaveform(QPainter& painter, const QRect& area, const WaveformPreview& preview,
                   const QString& caption, const QPalette& palette) {
    painter.fillRect(area, palette.color(QPalette::Base));
    const QFontMetrics metrics = painter.fontMetrics();
    painter.setPen(palette.color(QPalette::Text));
    painter.drawText(area.adjusted(kGap, 2, -kGap, 0), Qt::AlignLeft | Qt::AlignTop, caption);
    const auto& channels = preview.channels;
    if (channels.empty()) {
        return;
    }
    bool inSeconds = true;
    int labelWidth = metrics.horizontalAdvance(QStringLiteral("-8388608"));
    for (const ChannelPreview& channel : channels) {
        inSeconds = inSeconds && channel.samplesPerSecond > 0;
        labelWidth =
            std::max({labelWidth, metrics.horizontalAdvance(CountsText(channel.envelope.Highest())),
                      metrics.horizontalAdvance(CountsText(channel.envelope.Lowest()))});
    }
    double span = 0;
    for (const ChannelPreview& channel : channels) {
        span = std::max(span, Duration(channel, inSeconds));
    }
    const QRectF margin(area.left(), area.top(), labelWidth + 2 * kGap, area.height());
    const QRectF plot(QPointF(margin.right(), area.top() + metrics.height() + kGap),
                      QPointF(area.right() - 2 * kGap, area.bottom() - 2 * metrics.height() - 8));
    if (plot.width() < 1 || plot.height() < 1 || span <= 0) {
        return;
    }
    const double bandHeight = (plot.height() - kGap * static_cast<double>(channels.size() - 1)) /
                              static_cast<double>(channels.size());
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const QRectF band(plot.left(), plot.top() + static_cast<double>(i) * (bandHeight + kGap),
                          plot.width(), std::max(1.0, bandHeight));
        painter.fillRect(band, palette.color(QPalette::AlternateBase));
        PaintTrace(painter, band, Duration(channels[i], inSeconds) / span, channels[i]);
        PaintLabels(painter, band, margin, channels[i], palette);
    }
    PaintTimeAxis(painter, plot, span, inSeconds, channels.front().startTime, palette);
}

WaveformView::WaveformView(QWidget* parent) : QWidget(parent) {
    setMinimumSize(240, 140);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void WaveformView::SetPreview(WaveformPreview preview, const QString& caption) {
    m_preview = std::move(preview);
    m_caption = caption;
    m_notice.clear();
    update();
}

void WaveformView::SetNotice(const QString& notice) {
    m_preview = {};
    m_notice = notice;
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
    PaintWaveform(painter, rect(), m_preview, m_caption, palette());
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
    m_outputView->hide();

    auto* top = new QHBoxLayout;
    top->addWidget(m_title, 1);
    top->addWidget(m_progress);
    top->addWidget(m_chkShowOutput);
    auto* views = new QHBoxLayout;
    views->addWidget(m_inputView);
    views->addWidget(m_outputView);
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
    m_outputView->setVisible(showOutput);
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
    if (showOutput) {
        Read(request.outputs, *m_outputView);
    }
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
        WaveformPreview part = PreviewRecording(m_engine, paths[i].toStdString(), step);
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
    const QString caption = &view == m_outputView ? QStringLiteral("Output: ") : QString();
    view.SetPreview(std::move(combined), caption + names.join(QStringLiteral(", ")));
    return true;
}

} // namespace vibrex
