#pragma once

// Page trees as modules build them, for the navigation suites and for the stand-in module that
// the host loads: pages from (key, label) rows, installed into the side tree.

#include "testfiles.h"

#include "module/managerhelper.h"
#include "widgets/basepage.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>

#include <QCoreApplication>
#include <QHash>
#include <QLabel>
#include <QPair>
#include <QPointer>
#include <QVector>

// A page whose widget shows its label.
class LabelPage : public zarvo::BasePage
{
public:
    LabelPage(const QString& name, const QString& label, QObject* parent)
        : zarvo::BasePage(name, label, parent)
        , m_widget(new QLabel(label))
    {
    }
    ~LabelPage() override { delete m_widget.data(); }
    QWidget* wgt() override { return m_widget; }

private:
    QPointer<QWidget> m_widget;
};

// Page key (relative to the install prefix) and label; a parent comes before its children.
using PageRows = QVector<QPair<QString, QString>>;

// Builds the pages of `rows`, owned by `owner`, each a submodule of the page its key names as
// parent, and installs every top page under `prefix`. Returns the pages by key.
inline QHash<QString, LabelPage*> installPageTree(QObject* owner, const PageRows& rows,
                                                  const QString& prefix = QString())
{
    QHash<QString, LabelPage*> pages;
    QList<LabelPage*> tops;
    for (const auto& row : rows) {
        const int dot = row.first.lastIndexOf(QLatin1Char('.'));
        auto* page = new LabelPage(row.first.mid(dot + 1), row.second, owner);
        if (LabelPage* parent = dot < 0 ? nullptr : pages.value(row.first.left(dot))) {
            parent->addSubmodule(page);
        } else {
            tops.append(page);
        }
        pages.insert(row.first, page);
    }
    for (LabelPage* top : qAsConst(tops)) {
        ManagerHelper::installSideTree(top, prefix);
    }
    return pages;
}

inline pomr::CenterWidget* centerWidget()
{
    return pomr::instantiatedCenterWidget(nullptr);
}

// Selections are queued and start further queued work; a bounded number of rounds settles it.
inline void settleEvents()
{
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

// How often the module's log file holds `text`.
inline int logCount(const QString& text)
{
    return QString::fromUtf8(readFile(QStringLiteral("log/zarvo.log"))).count(text);
}
