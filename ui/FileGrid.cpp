#include "ui/FileGrid.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QUrl>

namespace vibrex {

FileGrid::FileGrid(QWidget* parent) : QTableView(parent) {
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DropOnly);
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &FileGrid::Scrolled);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &FileGrid::Scrolled);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, &FileGrid::ColumnResized);
}

bool FileGrid::AcceptsDrop(const QDropEvent& event) const {
    return m_dropsEnabled && event.mimeData()->hasUrls();
}

void FileGrid::AnswerDrag(QDragMoveEvent& event) const {
    if (AcceptsDrop(event)) {
        event.setDropAction(Qt::CopyAction);
        event.accept();
    } else {
        event.ignore();
    }
}

void FileGrid::dragEnterEvent(QDragEnterEvent* event) {
    AnswerDrag(*event);
}

void FileGrid::dragMoveEvent(QDragMoveEvent* event) {
    AnswerDrag(*event);
}

void FileGrid::dropEvent(QDropEvent* event) {
    if (!AcceptsDrop(*event)) {
        event->ignore();
        return;
    }
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            paths << url.toLocalFile();
        }
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    if (!paths.isEmpty()) {
        emit FilesDropped(paths);
    }
}

void FileGrid::keyPressEvent(QKeyEvent* event) {
    // The keypad's Delete key counts too, with Num Lock on or off.
    const bool keypadPeriod =
        event->key() == Qt::Key_Period && event->modifiers().testFlag(Qt::KeypadModifier);
    if (event->key() == Qt::Key_Delete || keypadPeriod) {
        emit DeletePressed();
        return;
    }
    QTableView::keyPressEvent(event);
}

} // namespace vibrex
