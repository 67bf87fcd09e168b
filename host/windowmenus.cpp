#include "windowmenus.h"

#include <pomr/shell.h>
#include <pomr/statusbar.h>
#include <velk/commandmanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QActionGroup>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>

namespace hmi {

namespace {

const QString kIndex = QStringLiteral("zvtheme");

} // namespace

WindowMenus::WindowMenus(QObject* parent)
    : QObject(parent)
{
}

WindowMenus::~WindowMenus() = default;

const QList<double>& WindowMenus::zoomSteps()
{
    static const QList<double> steps{0.75, 1.0, 1.25, 1.5, 1.75, 2.0};
    return steps;
}

double WindowMenus::zoomStep(double current, int direction)
{
    const QList<double>& steps = zoomSteps();
    // A factor typed into the console may lie between two steps: the next
    // step is the first one beyond it, not one away from a rounded index.
    if (direction > 0) {
        for (double step : steps) {
            if (step > current + 1e-6) {
                return step;
            }
        }
    } else {
        for (int i = steps.size() - 1; i >= 0; --i) {
            if (steps.at(i) < current - 1e-6) {
                return steps.at(i);
            }
        }
    }
    return current;
}

void WindowMenus::install(QMenuBar* bar)
{
    m_themes = bar->addMenu(tr("&Theme"));
    m_themes->setObjectName(QStringLiteral("menuTheme"));
    connect(m_themes, &QMenu::aboutToShow, this, &WindowMenus::fillThemes);
    fillThemes();

    QMenu* zoom = bar->addMenu(tr("&Zoom"));
    zoom->setObjectName(QStringLiteral("menuZoom"));
    QAction* larger = zoom->addAction(tr("&Larger"));
    larger->setObjectName(QStringLiteral("actZoomIn"));
    // Ctrl++ needs Shift on most layouts; Ctrl+= is the same key without it.
    larger->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    connect(larger, &QAction::triggered, this, [this] { setZoom("size_zoom", +1); });
    QAction* smaller = zoom->addAction(tr("&Smaller"));
    smaller->setObjectName(QStringLiteral("actZoomOut"));
    smaller->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
    connect(smaller, &QAction::triggered, this, [this] { setZoom("size_zoom", -1); });
    QAction* normal = zoom->addAction(tr("&Normal size"));
    normal->setObjectName(QStringLiteral("actZoomReset"));
    normal->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_0));
    connect(normal, &QAction::triggered, this, [this] { setZoom("size_zoom", 0); });
    zoom->addSeparator();
    QAction* largerText = zoom->addAction(tr("Larger &text"));
    largerText->setObjectName(QStringLiteral("actFontIn"));
    connect(largerText, &QAction::triggered, this, [this] { setZoom("font_zoom", +1); });
    QAction* smallerText = zoom->addAction(tr("Smaller te&xt"));
    smallerText->setObjectName(QStringLiteral("actFontOut"));
    connect(smallerText, &QAction::triggered, this, [this] { setZoom("font_zoom", -1); });
    QAction* normalText = zoom->addAction(tr("Normal text"));
    normalText->setObjectName(QStringLiteral("actFontReset"));
    connect(normalText, &QAction::triggered, this, [this] { setZoom("font_zoom", 0); });

    QMenu* language = bar->addMenu(tr("&Language"));
    language->setObjectName(QStringLiteral("menuLanguage"));
    auto* group = new QActionGroup(language);
    const QString current = settingText(QStringLiteral("language"), QStringLiteral("cn"));
    const QList<QPair<QString, QString>> languages{
        {QStringLiteral("cn"), QStringLiteral("中文")},
        {QStringLiteral("en"), QStringLiteral("English")}};
    for (const auto& entry : languages) {
        QAction* action = language->addAction(entry.second);
        action->setObjectName(QStringLiteral("actLanguage_") + entry.first);
        action->setCheckable(true);
        action->setChecked(entry.first == current);
        group->addAction(action);
        const QString code = entry.first;
        connect(action, &QAction::triggered, this, [this, code] { setLanguage(code); });
    }
}

void WindowMenus::fillThemes()
{
    if (!m_themes) {
        return;
    }
    m_themes->clear();
    velk::ModuleObject* index = velk::m(kIndex);
    const QString current = index->cmobj(QStringLiteral("current"))->getString();
    const QString language = settingText(QStringLiteral("language"), QStringLiteral("cn"));
    velk::ModuleObject* themes = index->cmobj(QStringLiteral("themes"));
    const QStringList names = themes->cmobjNames();
    auto* group = new QActionGroup(m_themes);
    for (const QString& name : names) {
        QString label =
            themes->cmobj(name)->cmobj(QStringLiteral("label_") + language)->getString();
        QAction* action = m_themes->addAction(label.isEmpty() ? name : label);
        action->setObjectName(QStringLiteral("actTheme_") + name);
        action->setCheckable(true);
        action->setChecked(name == current);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [name] {
            // Through the theme's own command: it checks the name, switches
            // and restyles every page, as when typed.
            velk::command().execute(QStringLiteral("theme.set ") + name);
        });
    }
    if (names.isEmpty()) {
        m_themes->addAction(tr("(no themes)"))->setEnabled(false);
    }
}

void WindowMenus::setZoom(const char* key, int direction)
{
    velk::ModuleObject* node = velk::m(kIndex)->cmobj(QString::fromLatin1(key));
    if (node->isEmptyMobj()) {
        return;
    }
    const double current = node->getDouble(1.0);
    const double next = direction == 0 ? 1.0 : zoomStep(current, direction);
    if (!qFuzzyCompare(next, current)) {
        // The theme manager follows its index objects and restyles.
        node->set(this, next);
    }
}

void WindowMenus::setLanguage(const QString& language)
{
    bool ok = false;
    QObject* owner = velk::resource().getModulePtr(this, QStringLiteral("setting"), &ok);
    if (!ok || !owner) {
        return;
    }
    if (settingText(QStringLiteral("language"), QString()) == language) {
        return;
    }
    velk::resource().set(owner, QStringLiteral("setting"), QStringLiteral("language"), language,
                         true);
    // Translations are installed once at start; saying so beats a half-translated window.
    pomr::instantiatedStatusBar(this)->getStatusbar()->showMessage(
        tr("The language changes at the next start"), 10000);
}

QString WindowMenus::settingText(const QString& key, const QString& fallback)
{
    bool ok = false;
    QObject* owner = velk::resource().getModulePtr(nullptr, QStringLiteral("setting"), &ok);
    if (!ok || !owner) {
        return fallback;
    }
    const QJsonValue value = velk::resource().get(owner, QStringLiteral("setting"), key, &ok);
    return ok && value.isString() ? value.toString() : fallback;
}

} // namespace hmi
