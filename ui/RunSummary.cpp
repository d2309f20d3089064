#include "ui/RunSummary.h"

#include "engine/ClsConverter.h"
#include "ui/FrmFailure.h"
#include "ui/Prompts.h"
#include "ui/UiTools.h"

namespace vibrex {

RunSummary::RunSummary(const ClsConverter& engine) : m_files(engine.FilesCount()) {
    for (int file = 0; file < m_files; ++file) {
        const ConversionStatus status = engine.FileStatus(file);
        if (status != ConversionStatus::Failed && status != ConversionStatus::FileMissing) {
            continue;
        }
        ++m_failed;
        const QString reason = ToQString(engine.FileErrorText(file));
        m_details += FileNamePart(ToQString(engine.FilePath(file))) + QStringLiteral(": ") +
                     (reason.isEmpty() ? ToQString(ClsConverter::ConversionStatusToString(status))
                                       : reason) +
                     QStringLiteral("\n\n");
    }
    m_details = m_details.trimmed().replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

QString RunSummary::Text() const {
    return QString::number(m_failed) + QStringLiteral(" of ") + QString::number(m_files) +
           (m_files == 1 ? QStringLiteral(" file failed.") : QStringLiteral(" files failed."));
}

void RunSummary::Tell(QWidget* owner) const {
    if (m_failed == 0) {
        return;
    }
    if (ShowMessageBox(owner, Text() + QStringLiteral("\r\nShow the details?"),
                       MessageIcon::Question)) {
        FrmFailure details(Text(), m_details, owner);
        ExecModal(details);
    }
}

} // namespace vibrex
