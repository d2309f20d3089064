#pragma once

#include "engine/Preview.h"
#include "ui/TimeAxis.h"

#include <QColor>
#include <QString>
#include <QStringList>
#include <QWidget>

class QCheckBox;
class QFontMetrics;
class QScrollArea;
class QLabel;
class QPainter;
class QProgressBar;
class QTimer;

namespace vibrex {

class ClsConverter;

// The colour of every trace.
QColor TraceColor();

// Where the parts of a preview picture go: one band per channel, stacked in the plot, each at
// least tall enough for its labels, and the labels themselves.
struct WaveformLayout {
    struct Label {
        QRectF box;
        QString text;
        Qt::Alignment alignment;
        bool opaque; // drawn over the trace, on the background colour
    };
    QRectF plot;
    std::vector<QRectF> bands;
    // Per channel: its station and component on the band, its extremes in counts beside it.
    std::vector<Label> labels;
};
WaveformLayout LayOutWaveform(const QRect& area, const WaveformPreview& preview,
                              const QFontMetrics& metrics);
// The height at which `channels` traces all get their minimum band.
int MinimumWaveformHeight(std::size_t channels, const QFontMetrics& metrics);

// Draws a preview into `area`: one trace per channel, stacked, each a min/max envelope per
// pixel column placed on `axis` where its samples lie in time, with its labels, and the axis
// under them all, or at the foot of `visible` when that is the part on screen. `caption`
// names the recording above the traces.
void PaintWaveform(QPainter& painter, const QRect& area, const WaveformPreview& preview,
                   const TimeAxis& axis, const QString& caption, const QPalette& palette,
                   const QRect& visible = {});

// One drawn preview, or the reason there is none.
class WaveformView final : public QWidget {
    Q_OBJECT

public:
    explicit WaveformView(QWidget* parent = nullptr);
    // The preview on an axis of its own channels.
    void SetPreview(WaveformPreview preview, const QString& caption);
    // Another axis, shared with the view beside this one.
    void SetAxis(const TimeAxis& axis);
    // Shown instead of traces: "Reading..." or why there is no picture.
    void SetNotice(const QString& notice);
    const WaveformPreview& Preview() const { return m_preview; }
    const QString& Notice() const { return m_notice; }
    const QString& Caption() const { return m_caption; }
    const TimeAxis& Axis() const { return m_axis; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WaveformPreview m_preview;
    TimeAxis m_axis;
    QString m_caption;
    QString m_notice;
};

// The preview pane under the file grid. Recordings are read on the interface thread, as a
// conversion is: the reader yields to the event loop every kPreviewStepSamples samples (a few
// hundredths of a second), and the yield is where a newer request stops the older one. Requests
// start from the event loop, never inside the handler that made them, so one preview never runs
// inside another.
class PreviewPane final : public QWidget {
    Q_OBJECT

public:
    explicit PreviewPane(ClsConverter& engine, QWidget* parent = nullptr);

    // The recording to show, and what its last conversion wrote (shown beside it on request).
    // An empty path clears the pane.
    void ShowRecording(const QString& input, const QStringList& outputs = {});
    // Ends the preview being read at its next step and drops any waiting request.
    void Stop();
    // The header editor closed: names and start times follow the engine's header.
    void HeaderEdited();
    bool Busy() const { return m_busy; }

    const WaveformView& InputView() const { return *m_inputView; }
    const WaveformView& OutputView() const { return *m_outputView; }

signals:
    // The input recording is on screen, complete.
    void Shown(const QString& input);
    // Every request so far was shown, failed, or was left for a newer one.
    void Finished();

private:
    struct Request {
        QString input;
        QStringList outputs;
    };
    void RunRequests();
    void Show(const Request& request);
    // False when a newer request or Stop() ended it.
    bool Read(const QStringList& paths, WaveformView& view);
    void UpdateOutputToggle();
    void ShareAxis();
    void ApplyEditedHeader(WaveformPreview& preview, const QString& input) const;
    // The file's index in the engine's list, or -1.
    int FileIndexOf(const QString& path) const;

    ClsConverter& m_engine;
    QLabel* m_title = nullptr;
    QProgressBar* m_progress = nullptr;
    QCheckBox* m_chkShowOutput = nullptr;
    WaveformView* m_inputView = nullptr;
    WaveformView* m_outputView = nullptr;
    QScrollArea* m_outputArea = nullptr;
    QTimer* m_start = nullptr;

    Request m_request;
    QString m_shownInput; // the recording the input view shows completely
    bool m_pending = false;
    bool m_busy = false;
    bool m_stopRequested = false;
};

} // namespace vibrex
