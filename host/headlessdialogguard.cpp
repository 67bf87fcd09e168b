#include "headlessdialogguard.h"

#include <QCoreApplication>
#include <QDialog>
#include <QEvent>
#include <QMessageBox>

namespace hmi {

HeadlessDialogGuard::HeadlessDialogGuard(FILE* err, QObject* parent)
    : QObject(parent)
    , m_err(err)
{
}

HeadlessDialogGuard::~HeadlessDialogGuard() = default;

void HeadlessDialogGuard::install()
{
    if (QCoreApplication* app = QCoreApplication::instance()) {
        app->installEventFilter(this);
    }
}

bool HeadlessDialogGuard::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::Show || !watched->isWidgetType()) {
        return false;
    }
    auto* dialog = qobject_cast<QDialog*>(watched);
    if (!dialog || !dialog->isWindow() ||
        (!dialog->isModal() && dialog->windowModality() == Qt::NonModal)) {
        return false;
    }
    QString text;
    if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
        text = box->text();
        if (!box->informativeText().isEmpty()) {
            text += QLatin1Char(' ') + box->informativeText();
        }
    }
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    const QByteArray line = QStringLiteral("zarvo-hmi: dialog \"%1\" closed unanswered: %2\n")
                                .arg(dialog->windowTitle(), text)
                                .toUtf8();
    if (m_err) {
        std::fwrite(line.constData(), 1, size_t(line.size()), m_err);
        std::fflush(m_err);
    }
    ++m_dismissed;
    // Queued: the dialog's exec() loop has to be running to be left.
    QMetaObject::invokeMethod(dialog, &QDialog::reject, Qt::QueuedConnection);
    return false;
}

} // namespace hmi
