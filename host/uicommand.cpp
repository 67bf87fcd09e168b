#include "uicommand.h"

#include "rendercheck.h"
#include "uiinspector.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QScreen>
#include <QWidget>

namespace hmi {

namespace {

// Names come from a console line: quoted and cut before they are shown back.
QString quoted(const QString& text)
{
    constexpr int shown = 200;
    QString safe = text.left(shown);
    for (QChar& c : safe) {
        if (c.category() == QChar::Other_Control) {
            c = QLatin1Char('?');
        }
    }
    return QLatin1Char('\'') + safe +
           (text.size() > shown ? QStringLiteral("...'") : QStringLiteral("'"));
}

// The first word and the rest of the line, both without outer blanks.
QPair<QString, QString> split(const QString& args)
{
    const QString line = args.trimmed();
    const int blank = line.indexOf(QRegularExpression(QStringLiteral("\\s")));
    if (blank < 0) {
        return {line, QString()};
    }
    return {line.left(blank), line.mid(blank + 1).trimmed()};
}

} // namespace

UiCommand::UiCommand(Kind kind, QWidget* window, QObject* parent)
    : velk::BaseCommand(commandName(kind), true, parent)
    , m_kind(kind)
    , m_window(window)
{
}

UiCommand::~UiCommand() = default;

QString UiCommand::commandName(Kind kind)
{
    switch (kind) {
    case Dump:
        return QStringLiteral("ui.dump");
    case Click:
        return QStringLiteral("ui.click");
    case Grab:
        return QStringLiteral("ui.grab");
    case Check:
        break;
    }
    return QStringLiteral("ui.check");
}

QString UiCommand::usage() const
{
    switch (m_kind) {
    case Dump:
        return QStringLiteral("ui.dump [<object name>]");
    case Click:
        return QStringLiteral("ui.click <object name> [<text>]");
    case Grab:
        return QStringLiteral("ui.grab <file.png> [<object name>]");
    case Check:
        break;
    }
    return QStringLiteral("ui.check [<width>x<height>]");
}

QString UiCommand::description() const
{
    switch (m_kind) {
    case Dump:
        return tr("Print the widget tree of the window, or below the first widget of that name, "
                  "as one line of JSON");
    case Click:
        return tr("Click the first visible widget of that name (and text) with the left button");
    case Grab:
        return tr("Save a PNG picture of the window, or of the first widget of that name");
    case Check:
        break;
    }
    return tr("Report blank pages, texts wider than their widget and widgets outside a screen "
              "of that size (default: the window's screen)");
}

void UiCommand::execute(const QString& args)
{
    const QPair<QString, QString> words = split(args);
    switch (m_kind) {
    case Dump:
        if (!words.second.isEmpty()) {
            error(tr("%1: one object name at most (usage: %2)").arg(name(), usage()));
            return;
        }
        dump(words.first);
        return;
    case Click:
        if (words.first.isEmpty()) {
            error(tr("%1: an object name is needed (usage: %2)").arg(name(), usage()));
            return;
        }
        click(words.first, words.second);
        return;
    case Check:
        if (!words.second.isEmpty()) {
            error(tr("%1: one screen size at most (usage: %2)").arg(name(), usage()));
            return;
        }
        check(words.first);
        return;
    case Grab:
        break;
    }
    const QPair<QString, QString> rest = split(words.second);
    if (words.first.isEmpty() || !rest.second.isEmpty()) {
        error(tr("%1: a file and at most one object name are needed (usage: %2)")
                  .arg(name(), usage()));
        return;
    }
    grab(words.first, rest.first);
}

QWidget* UiCommand::target(const QString& objectName)
{
    if (objectName.isEmpty()) {
        if (!m_window) {
            error(tr("%1: there is no window").arg(name()));
        }
        return m_window;
    }
    const QList<QWidget*> found = UiInspector::findAll(UiInspector::roots(m_window), objectName);
    if (found.isEmpty()) {
        error(tr("%1: no widget named %2").arg(name(), quoted(objectName)));
        return nullptr;
    }
    return found.constFirst();
}

void UiCommand::dump(const QString& objectName)
{
    if (QWidget* root = target(objectName)) {
        output(QString::fromUtf8(
            QJsonDocument(UiInspector::describe(root)).toJson(QJsonDocument::Compact)));
    }
}

void UiCommand::click(const QString& objectName, const QString& text)
{
    const QList<QWidget*> named = UiInspector::findAll(UiInspector::roots(m_window), objectName);
    QList<QWidget*> candidates;
    for (QWidget* widget : named) {
        if (text.isEmpty() || UiInspector::textMatches(widget, text)) {
            candidates.append(widget);
        }
    }
    const QString what = text.isEmpty()
                             ? quoted(objectName)
                             : tr("%1 with the text %2").arg(quoted(objectName), quoted(text));
    if (candidates.isEmpty()) {
        error(tr("%1: no widget named %2").arg(name(), what));
        return;
    }
    QWidget* visible = nullptr;
    for (QWidget* widget : qAsConst(candidates)) {
        if (widget->isVisible()) {
            visible = widget;
            break;
        }
    }
    if (!visible) {
        error(tr("%1: the widget %2 is hidden").arg(name(), what));
        return;
    }
    // A click on a disabled button does nothing in Qt; saying so keeps a
    // script from believing an action happened.
    if (!visible->isEnabled()) {
        error(tr("%1: the widget %2 is disabled").arg(name(), what));
        return;
    }
    UiInspector::click(visible);
}

void UiCommand::grab(const QString& file, const QString& objectName)
{
    if (!file.endsWith(QStringLiteral(".png"), Qt::CaseInsensitive)) {
        error(tr("%1: the file name must end in .png: %2").arg(name(), quoted(file)));
        return;
    }
    QWidget* widget = target(objectName);
    if (!widget) {
        return;
    }
    QString reason;
    if (!UiInspector::grab(widget, file, &reason)) {
        error(tr("%1: cannot write %2: %3").arg(name(), quoted(file), reason));
        return;
    }
    output(tr("%1: %2 written (%3 x %4)")
               .arg(name(), file)
               .arg(widget->width())
               .arg(widget->height()));
}

void UiCommand::check(const QString& screen)
{
    QWidget* window = target(QString());
    if (!window) {
        return;
    }
    QSize size = window->screen() ? window->screen()->availableSize() : QSize();
    if (!screen.isEmpty()) {
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$")).match(screen);
        size = match.hasMatch() ? QSize(match.captured(1).toInt(), match.captured(2).toInt())
                                : QSize();
        if (size.isEmpty()) {
            error(tr("%1: not a screen size: %2 (usage: %3)").arg(name(), quoted(screen), usage()));
            return;
        }
    }
    const QStringList problems = RenderCheck::problems(window, QRect(QPoint(0, 0), size));
    for (const QString& problem : problems) {
        error(QStringLiteral("%1: %2").arg(name(), problem));
    }
    if (problems.isEmpty()) {
        output(tr("%1: nothing found on %2x%3").arg(name()).arg(size.width()).arg(size.height()));
    }
}

} // namespace hmi
