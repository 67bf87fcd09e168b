#include "theme/themecommand.h"

#include "services/paths.h"
#include "theme/thememanager.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QtMath>

namespace {

// A console line is typed by hand: echoing it back stays short.
QString shown(const QString& text)
{
    return text.size() > 200 ? text.left(200) + QStringLiteral("...") : text;
}

// Above 0 and at most 10, as the console accepts it; other values would make
// every length vanish or leave the screen.
bool parseFactor(const QString& text, double* factor)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !qIsFinite(value) || value <= 0.0 || value > 10.0) {
        return false;
    }
    *factor = value;
    return true;
}

} // namespace

ThemeCommand::ThemeCommand(Kind kind, ThemeManager* manager)
    : velk::BaseCommand(commandName(kind), true, manager)
    , m_kind(kind)
    , m_manager(manager)
{
}

QString ThemeCommand::commandName(Kind kind)
{
    switch (kind) {
    case List:
        return QStringLiteral("theme.list");
    case Set:
        return QStringLiteral("theme.set");
    case Style:
        return QStringLiteral("theme.style");
    case Sheet:
        return QStringLiteral("theme.sheet");
    case Zoom:
        return QStringLiteral("theme.zoom");
    case Reload:
        break;
    }
    return QStringLiteral("theme.reload");
}

QString ThemeCommand::usage() const
{
    switch (m_kind) {
    case List:
        return tr("theme.list");
    case Set:
        return tr("theme.set <name>");
    case Style:
        return tr("theme.style <value>");
    case Sheet:
        return tr("theme.sheet <group> <name>");
    case Zoom:
        return tr("theme.zoom [<size> [<font>]]");
    case Reload:
        break;
    }
    return tr("theme.reload");
}

QString ThemeCommand::description() const
{
    switch (m_kind) {
    case List:
        return tr("List the themes with their labels; * marks the current one");
    case Set:
        return tr("Switch to another theme");
    case Style:
        return tr("Print a style value with its placeholder expanded at the current theme and "
                  "zoom");
    case Sheet:
        return tr("Print the style sheet of a render description");
    case Zoom:
        return tr("Print the size and font zoom, or set them (above 0, at most 10)");
    case Reload:
        break;
    }
    return tr("Read the current theme file again and restyle every page");
}

void ThemeCommand::complete(velk::ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    if (m_kind != Set) {
        return;
    }
    const QStringList words = text.split(QLatin1Char(' '));
    if (words.size() != 2) {
        return;
    }
    const QString stem = words.at(1);
    const QStringList names = m_manager->getThemeNames();
    for (const QString& name : names) {
        if (name.startsWith(stem) && name.size() > stem.size()) {
            input(name.mid(stem.size()));
            return;
        }
    }
}

void ThemeCommand::execute(const QString& args)
{
    const QString line = args.trimmed();
    switch (m_kind) {
    case List:
        list();
        return;
    case Set:
        set(line);
        return;
    case Style: {
        if (line.isEmpty()) {
            error(tr("usage: %1").arg(usage()));
            return;
        }
        const QString value = m_manager->buildStyleFromStr(line);
        if (value.isEmpty()) {
            error(tr("no valid style for: %1").arg(shown(line)));
            return;
        }
        output(value);
        return;
    }
    case Sheet: {
        const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words.size() != 2) {
            error(tr("usage: %1").arg(usage()));
            return;
        }
        const QString path = getRenderPath(words.at(0), words.at(1));
        if (!hasFile(path)) {
            error(tr("no render description %1/%2").arg(shown(words.at(0)), shown(words.at(1))));
            return;
        }
        const QString sheet = m_manager->genStyleSheet(path);
        if (sheet.isEmpty()) {
            error(tr("no style sheet from %1").arg(path));
            return;
        }
        output(sheet);
        return;
    }
    case Zoom:
        zoom(line);
        return;
    case Reload:
        break;
    }
    if (m_manager->reloadTheme()) {
        output(tr("reloaded %1").arg(m_manager->curThemeName()));
    } else {
        error(tr("cannot reload theme %1").arg(shown(m_manager->curThemeName())));
    }
}

void ThemeCommand::list()
{
    const QString current = m_manager->curThemeName();
    const QStringList names = m_manager->getThemeNames();
    for (const QString& name : names) {
        output(QStringLiteral("%1 %2 %3")
                   .arg(name == current ? QStringLiteral("*") : QStringLiteral(" "), name,
                        m_manager->getThemeLabel(name)));
    }
}

void ThemeCommand::set(const QString& name)
{
    if (name.isEmpty()) {
        error(tr("usage: %1").arg(usage()));
        return;
    }
    if (!m_manager->hasTheme(name)) {
        m_manager->setCurrentTheme(name); // logs the refusal like any other caller's
        error(tr("no such theme: %1").arg(shown(name)));
        return;
    }
    m_manager->setCurrentTheme(name);
    output(tr("current theme: %1").arg(name));
}

void ThemeCommand::zoom(const QString& args)
{
    const QStringList words = args.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.isEmpty()) {
        showZoom();
        return;
    }
    double size = 0.0;
    double font = 0.0;
    if (words.size() > 2 || !parseFactor(words.at(0), &size) ||
        (words.size() == 2 && !parseFactor(words.at(1), &font))) {
        error(tr("a zoom factor is a number above 0 and at most 10: %1").arg(shown(args)));
        return;
    }
    // Through the index objects, as any other writer of them, so that the
    // change is saved with the index and every listener restyles.
    const QString index = m_manager->name();
    velk::m(velk::mName(index, QStringLiteral("size_zoom")))->set(this, size);
    if (words.size() == 2) {
        velk::m(velk::mName(index, QStringLiteral("font_zoom")))->set(this, font);
    }
    showZoom();
}

void ThemeCommand::showZoom()
{
    output(tr("size zoom %1, font zoom %2").arg(m_manager->sizeZoom()).arg(m_manager->fontZoom()));
}
