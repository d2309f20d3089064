#pragma once

#include <QStringList>
#include <QTableView>

namespace vibrex {

// The file grid: takes dropped file lists, reports the Delete key, and tells when it scrolls
// or a column is resized, so an editor sitting over a cell can get out of the way.
class FileGrid final : public QTableView {
    Q_OBJECT

public:
    explicit FileGrid(QWidget* parent = nullptr);
    // Drops are refused while a run is in progress.
    void SetDropsEnabled(bool enabled) { m_dropsEnabled = enabled; }

signals:
    void FilesDropped(const QStringList& paths);
    void DeletePressed();
    void Scrolled();
    void ColumnResized();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool AcceptsDrop(const QDropEvent& event) const;
    // Shows the copy effect only for a file list.
    void AnswerDrag(QDragMoveEvent& event) const;

    bool m_dropsEnabled = true;
};

} // namespace vibrex
