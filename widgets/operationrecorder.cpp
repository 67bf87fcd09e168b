#include "widgets/operationrecorder.h"

#include "services/modulelog.h"

#include <velk/velk.h>

#include <QMouseEvent>
#include <QPushButton>

namespace {

// Texts and names come from any module, even from translations: one record
// stays one bounded line.
QString printable(const QString& text, int limit)
{
    QString out;
    out.reserve(qMin(text.size(), limit) + 3);
    for (int i = 0; i < text.size() && i < limit; ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\n')) {
            out += QLatin1String("\\n");
        } else if (c == QLatin1Char('\\') || c == QLatin1Char('"')) {
            out += QLatin1Char('\\');
            out += c;
        } else if (c.category() == QChar::Other_Control) {
            out += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    if (text.size() > limit) {
        out += QLatin1String("...");
    }
    return out;
}

} // namespace

OperationRecorder::OperationRecorder(QObject* parent)
    : QObject(parent)
{
}

OperationRecorder::~OperationRecorder() = default;

bool OperationRecorder::eventFilter(QObject* watched, QEvent* event)
{
    // Every event of the process passes here. The type test is one integer
    // compare, cheaper than the cast, and leaves the same events to the cast.
    const QEvent::Type type = event->type();
    if (type != QEvent::MouseButtonPress && type != QEvent::MouseButtonDblClick) {
        return false;
    }
    const auto* button = qobject_cast<const QPushButton*>(watched);
    if (!button) {
        return false;
    }
    const QPoint at = static_cast<const QMouseEvent*>(event)->globalPos();
    zarvo::infoLog().nospace() << (type == QEvent::MouseButtonPress ? "p(" : "d(") << at.x() << ","
                               << at.y() << ") \"" << printable(button->text(), 120)
                               << "\": " << printable(objectPath(button), 400);
    return false;
}

QString OperationRecorder::objectPath(const QObject* object, int depth)
{
    if (!object) {
        return QStringLiteral("@e");
    }
    const QObject* parent = object->parent();
    if (!parent || depth < 1) {
        return object->objectName();
    }
    return velk::mName(object->objectName(), objectPath(parent, depth - 1));
}
