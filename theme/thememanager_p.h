#pragma once

#include "theme/thememanager.h"

#include <QList>
#include <QPalette>
#include <QSet>
#include <QString>

namespace velk {
class BaseCommand;
class ModuleObject;
} // namespace velk

class ThemeManager::Private
{
public:
    explicit Private(ThemeManager* q);
    ~Private();

    // The index node "zvtheme" (bound module object).
    velk::ModuleObject* index() const;
    velk::ModuleObject* indexChild(const QString& name) const;

    // The theme value of section/entry: the current theme first, then the
    // default theme; false when neither has it.
    bool lookup(const QString& section, const QString& entry, QString* value) const;

    // Reads a theme file into a theme object, replacing what it held.
    // Failures are logged once with the file and the parser's offset.
    bool loadTheme(velk::ModuleObject* target, const QString& path, bool activate);
    // A ":/<alias>/..." path of a theme file, looked up through the aliases so
    // that a copy on disk below the working directory wins.
    static QString resolvePath(const QString& path);

    bool readIndex(QJsonObject* index);
    void keepInvalidIndex(const QString& path, const QString& error);
    void connectZoom();
    void onSizeZoomChanged(const QVariant& value, const QVariant& old);

    // One warning per entry and theme load, not one per widget per render.
    void warnOnce(const QString& key, const QString& text);

    ThemeManager* q;
    double sizeZoom = 1.0;
    velk::ModuleObject* current;
    velk::ModuleObject* defaultTheme;
    bool registered = false;
    // Set when the index on disk must not be written over (unreadable, or a
    // broken one that could not be moved aside).
    bool saveBlocked = false;
    QSet<QString> warned;
    // The application's palette before the first theme touched it: every
    // theme starts from it, so that switching back restores what it had.
    QPalette platformPalette;
    bool hasPlatformPalette = false;
    QList<velk::BaseCommand*> commands;
};
