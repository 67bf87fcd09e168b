#pragma once

// Names and helpers shared by the side tree's parts and the setting categories' page list.

#include <velk/modulemanager.h>

#include <QString>

namespace zarvo {
namespace nav {

// Bookkeeping children of a root or parent object, and the object names of the tree's widgets.
inline const QString kWgt = QStringLiteral("_wgt");
inline const QString kArea = QStringLiteral("_area");
inline const QString kCurRoot = QStringLiteral("cur_root");
inline const QString kParentName = QStringLiteral("btnParent");
inline const QString kChildName = QStringLiteral("btnChild");
inline const QString kChildContainer = QStringLiteral("wgtChild");
inline const QString kRootName = QStringLiteral("btnRoot");

// The first section of a page key names its root.
inline QString rootOfKey(const QString& key)
{
    return key.section(velk::ModuleManager::separator(), 0, 0);
}

// Names of bookkeeping children ("_wgt", "_area", "[timestamp]") that never stand for a page.
inline bool isPrivateName(const QString& name)
{
    return name.startsWith(QLatin1Char('_')) || name.startsWith(QLatin1Char('['));
}

// Keys and root names come from the console and from scripts: a log line shows at most a
// short, single-line piece of them.
inline QString loggable(const QString& text)
{
    constexpr int maxShown = 80;
    QString shown;
    const int n = qMin(text.size(), maxShown);
    shown.reserve(n + 8);
    for (int i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        if (c.unicode() < 0x20 || c.unicode() == 0x7f || c.category() == QChar::Other_Format) {
            shown += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        } else {
            shown += c;
        }
    }
    if (text.size() > maxShown) {
        shown += QStringLiteral("...");
    }
    return shown;
}

} // namespace nav
} // namespace zarvo
