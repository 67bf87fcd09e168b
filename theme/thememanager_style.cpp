// Expansion of render descriptions and theme entries into style-sheet text and
// Qt values, and the zoom of lengths and font sizes.

#include "module/managerhelper.h"
#include "services/paths.h"
#include "theme/thememanager.h"
#include "theme/thememanager_p.h"

#include <velk/jsonfile.h>
#include <velk/moduleobject.h>

#include <QFile>
#include <QJsonArray>
#include <QtMath>

#include <climits>

namespace {

const QLatin1String kPx("px");
const QLatin1String kPt("pt");

// Lengths far beyond any screen are left as written rather than overflowing.
bool scaled(const QString& word, double zoom, QString* out)
{
    bool ok = false;
    const double value = word.toDouble(&ok);
    if (!ok) {
        return false;
    }
    const double product = value * zoom;
    if (!qIsFinite(product) || qAbs(product) > double(INT_MAX / 2)) {
        return false;
    }
    *out = QString::number(qRound(product));
    return true;
}

} // namespace

QString ThemeManager::genStyleSheet(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QString();
    }
    QString error;
    const QJsonValue json = velk::JsonFile::parse(file.readAll(), &error);
    if (!json.isArray()) {
        ManagerHelper::throwLog(
            this, QStringLiteral("error"),
            QStringLiteral("parse error at \"%1\" :%2")
                .arg(path, json.isNull() ? error : QStringLiteral("not an array of rules")));
        return QString();
    }
    QString sheet;
    const QJsonArray rules = json.toArray();
    for (const QJsonValue& rule : rules) {
        sheet += buildStyleFromJson(rule.toObject());
    }
    return sheet;
}

QString ThemeManager::buildStyleFromJson(const QJsonObject& record)
{
    const QString selector = record.value(QLatin1String("name")).toString();
    QString rule = selector;
    if (!selector.isEmpty()) {
        rule += QLatin1Char('{');
    }
    for (auto it = record.constBegin(); it != record.constEnd(); ++it) {
        if (it.key() == QLatin1String("name")) {
            continue;
        }
        const QString value = buildStyleFromStr(it.value().toString());
        if (!value.isEmpty()) {
            rule += it.key() + QLatin1Char(':') + value + QLatin1Char(';');
        }
    }
    if (!selector.isEmpty()) {
        rule += QLatin1Char('}');
    }
    return rule;
}

QString ThemeManager::buildStyleFromStr(const QString& value)
{
    if (!value.startsWith(QLatin1Char('$'))) {
        return zoomPx(value);
    }
    const QString section = value.section(QLatin1Char('$'), 1, 1);
    const QString entry = value.mid(value.lastIndexOf(QLatin1Char('$')) + 1);
    QString found;
    if (d->lookup(section, entry, &found)) {
        return zoomStyle(section, entry, found);
    }

    // Images and icons need no theme entry: they come straight from the
    // image folders, where a file on disk wins over the compiled-in one.
    QString fallback;
    if (section == QLatin1String("image") || section == QLatin1String("icon")) {
        const QString path = getImagePath(entry.section(QLatin1Char('/'), 0, 0),
                                          entry.section(QLatin1Char('/'), -1));
        fallback =
            section == QLatin1String("image") ? QStringLiteral("url(\"%1\")").arg(path) : path;
    }
    if (!fallback.isEmpty()) {
        return zoomStyle(section, entry, fallback);
    }
    d->warnOnce(value, QStringLiteral("no valid style for: ") + value);
    return QString();
}

QColor ThemeManager::getColor(const QString& name)
{
    QString s = buildStyleFromStr(QStringLiteral("$color$%1").arg(name));
    s.remove(QLatin1Char('#'));
    if (s.size() < 6) {
        if (!s.isEmpty()) {
            d->warnOnce(QStringLiteral("$color$") + name,
                        QStringLiteral("colour %1 is not #rrggbb: %2").arg(name, s));
        }
        return QColor();
    }
    // Red and green from the front, blue from the back: an 8-digit value
    // loses its third pair, which existing theme files rely on.
    bool okR = false, okG = false, okB = false;
    const int r = s.mid(0, 2).toInt(&okR, 16);
    const int g = s.mid(2, 2).toInt(&okG, 16);
    const int b = s.right(2).toInt(&okB, 16);
    if (!okR || !okG || !okB) {
        d->warnOnce(QStringLiteral("$color$") + name,
                    QStringLiteral("colour %1 is not #rrggbb: %2").arg(name, s));
        return QColor();
    }
    return QColor(r, g, b, 255);
}

QFont ThemeManager::getFont(const QString& name)
{
    const QString s = buildStyleFromStr(QStringLiteral("$font$%1").arg(name));
    const int lastQuote = s.lastIndexOf(QLatin1Char('"'));
    const int firstQuote = lastQuote > 0 ? s.lastIndexOf(QLatin1Char('"'), lastQuote - 1) : -1;
    const QString family =
        firstQuote >= 0 ? s.mid(firstQuote + 1, lastQuote - firstQuote - 1) : QString();
    QString size = s.left(s.indexOf(kPt));
    const bool bold = size.startsWith(QLatin1String("75"));
    if (bold) {
        size.remove(0, 3);
    }
    bool ok = false;
    const int points = qRound(size.toDouble(&ok));
    if (!ok || points <= 0 || s.indexOf(kPt) < 0) {
        if (!s.isEmpty()) {
            d->warnOnce(
                QStringLiteral("$font$") + name,
                QStringLiteral("font %1 is not [75 ]<size>pt \"<family>\": %2").arg(name, s));
        }
        return QFont();
    }
    return QFont(family, points, bold ? 75 : -1, false);
}

int ThemeManager::getSize(const QString& name)
{
    const QString s = buildStyleFromStr(QStringLiteral("$size$%1").arg(name));
    if (s.size() < 2) {
        return 0;
    }
    bool ok = false;
    const double px = s.left(s.size() - 2).toDouble(&ok);
    if (!ok || !qIsFinite(px) || qAbs(px) > double(INT_MAX / 2)) {
        d->warnOnce(QStringLiteral("$size$") + name,
                    QStringLiteral("size %1 is not <number>px: %2").arg(name, s));
        return 0;
    }
    return qRound(px);
}

int ThemeManager::getSize(int px) const
{
    return int(px * d->sizeZoom);
}

QSize ThemeManager::getIconSize(const QString& name) const
{
    int v = d->current->cmobj(QStringLiteral("icon_size"))->cmobj(name)->getInt(0);
    if (v == 0) {
        v = d->defaultTheme->cmobj(QStringLiteral("icon_size"))->cmobj(name)->getInt(0);
    }
    if (v == 0) {
        v = 3200032;
    }
    int width = v / 100000;
    int height = v - width * 100000;
    if (!name.endsWith(QLatin1String("fix"))) {
        width = qRound(width * d->sizeZoom);
        height = qRound(height * d->sizeZoom);
    }
    return QSize(width, height);
}

QPixmap ThemeManager::getIconPixmap(const QString& dir, const QString& file)
{
    return QPixmap(buildStyleFromStr(QStringLiteral("$icon$%1/%2").arg(dir, file)));
}

QIcon ThemeManager::getIcon(const QString& dir, const QString& file)
{
    // Built from the file rather than from one pixmap, so that the icon also
    // holds the "@2x" image beside it and stays sharp at a size zoom of 2.
    const QString path = buildStyleFromStr(QStringLiteral("$icon$%1/%2").arg(dir, file));
    if (path.isEmpty() || !QFile::exists(path)) {
        return QIcon(getIconPixmap(dir, file));
    }
    return QIcon(path);
}

QString ThemeManager::zoomStyle(const QString& section, const QString& entry,
                                const QString& value) const
{
    if (entry.endsWith(QLatin1String("fix"))) {
        return value;
    }
    if (section == QLatin1String("border") || section == QLatin1String("size")) {
        return zoomPx(value);
    }
    if (section != QLatin1String("font")) {
        return value;
    }
    const int pt = value.indexOf(kPt);
    if (pt < 0) {
        return value;
    }
    QString size = value.left(pt);
    const bool bold = size.startsWith(QLatin1String("75"));
    if (bold) {
        size.remove(0, 3);
    }
    const double points = size.toDouble();
    return QStringLiteral("%1%2pt%3")
        .arg(bold ? QStringLiteral("75 ") : QString(), QString::number(points * fontZoom(), 'g', 6),
             value.mid(value.lastIndexOf(kPt) + 2));
}

QString ThemeManager::zoomPx(const QString& value) const
{
    if (!value.contains(kPx)) {
        return value;
    }
    const QStringList segments = value.split(kPx, Qt::KeepEmptyParts);
    QString out;
    for (int i = 0; i + 1 < segments.size(); ++i) {
        const QStringList words = segments.at(i).split(QLatin1Char(' '), Qt::KeepEmptyParts);
        for (int w = 0; w < words.size(); ++w) {
            QString word = words.at(w);
            QString zoomed;
            if (scaled(word, d->sizeZoom, &zoomed)) {
                word = zoomed;
            }
            out += word;
            out += w + 1 < words.size() ? QStringLiteral(" ") : QString(kPx);
        }
    }
    out += segments.last();
    return out;
}
