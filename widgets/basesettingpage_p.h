#pragma once

#include "ui_basesettingpage.h"

#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>

namespace zarvo {

class BaseSettingPage;

class BaseSettingPagePrivate
{
public:
    explicit BaseSettingPagePrivate(BaseSettingPage* page, QWidget* parentWidget);
    ~BaseSettingPagePrivate();

    // While set, edits do not arm the save: it is raised around every load and
    // save so that widgets filled by the page never look like user edits.
    bool busy = false;
    // Guards against a derived page that saves or reloads from inside its own
    // save or load: the nested call would recurse without end.
    bool inSave = false;
    bool inLoad = false;
    bool inChange = false;
    // A save asked for while one runs; it is done one interval later.
    bool saveAgain = false;

    QTimer* saveTimer = nullptr;
    Ui::BaseSettingPage* ui = nullptr;
    // The page widget may live in a centre widget that is destroyed first.
    QPointer<QWidget> page;
    QList<QPointer<QWidget>> renderExceptions;
    QList<QPointer<QWidget>> autoSaveWidgets;

    bool hasUi() const { return !page.isNull(); }
};

// Raises a flag for a scope and restores its previous value, so that a nested
// load or save never clears the busy flag under an outer one.
class FlagScope
{
public:
    explicit FlagScope(bool& flag)
        : m_flag(flag)
        , m_previous(flag)
    {
        m_flag = true;
    }
    ~FlagScope() { m_flag = m_previous; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    bool& m_flag;
    bool m_previous;
};

} // namespace zarvo
