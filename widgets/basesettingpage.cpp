#include "widgets/basesettingpage.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "services/paths.h"
#include "services/stylesheet.h"
#include "theme/thememanager.h"
#include "widgets/basesettingpage_p.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QEvent>
#include <QScrollArea>
#include <QScroller>

namespace zarvo {

namespace {

const QString kTimestamp = QStringLiteral("[timestamp]");

} // namespace

// Texts here are translated with the class's context spelled out: the
// translation tools cannot always tell that this class lives in a namespace,
// and at run time the texts are looked up under the class's full name.

BaseSettingPagePrivate::BaseSettingPagePrivate(BaseSettingPage* owner, QWidget* parentWidget)
{
    saveTimer = new QTimer(owner);
    ui = new Ui::BaseSettingPage;
    page = new QWidget(parentWidget);
    ui->setupUi(page);
}

BaseSettingPagePrivate::~BaseSettingPagePrivate()
{
    // A page widget never handed to a parent is ours; one placed in a centre
    // widget belongs to that widget.
    if (page && !page->parentWidget()) {
        delete page.data();
    }
    delete ui;
}

BaseSettingPage::BaseSettingPage(const QString& name, const QString& label, QWidget* parentWidget,
                                 QObject* parent)
    : BasePage(name, label, parent)
    , d(new BaseSettingPagePrivate(this, parentWidget))
{
    Ui::BaseSettingPage* ui = d->ui;
    d->page->setAttribute(Qt::WA_StyledBackground, true);
    d->page->installEventFilter(this);
    // The scroll bars are off: on a touch panel the content scrolls by dragging.
    QScroller::grabGesture(ui->scaContent, QScroller::LeftMouseButtonGesture);
    ui->tbtnLoad->hide();
    ui->tbtnSave->hide();
    ui->lblDateTime->hide();
    connect(ui->tbtnLoad, &QToolButton::clicked, this, &BaseSettingPage::loadNow);
    connect(ui->tbtnSave, &QToolButton::clicked, this, &BaseSettingPage::saveNow);
    connect(d->saveTimer, &QTimer::timeout, this, &BaseSettingPage::saveNow);
    ui->wgtBottom->hide();
}

BaseSettingPage::~BaseSettingPage()
{
    // Deleting a shown page widget hides it: that must not reach a page that
    // is half gone.
    if (d->page) {
        d->page->removeEventFilter(this);
    }
    delete d;
}

QWidget* BaseSettingPage::wgt()
{
    return d->page.data();
}

void BaseSettingPage::render()
{
    if (!d->hasUi()) {
        return;
    }
    const QString sheet = theme()->genStyleSheet(
        getRenderPath(QStringLiteral("robot"), QStringLiteral("setting_page")));
    if (sheet.isEmpty()) {
        // An empty sheet would strip the page of its look; keep the last one.
        warnLog() << this << "no style for the setting page";
        return;
    }
    QList<QWidget*> exceptions;
    for (const QPointer<QWidget>& widget : qAsConst(d->renderExceptions)) {
        if (widget) {
            exceptions.append(widget);
        }
    }
    setRecursiveWidgetStyleSheet(d->page, sheet, exceptions);
}

void BaseSettingPage::setTitle(const QString& title)
{
    if (d->hasUi()) {
        d->ui->lblTitle->setText(title);
    }
}

QString BaseSettingPage::title() const
{
    return d->hasUi() ? d->ui->lblTitle->text() : QString();
}

void BaseSettingPage::autoBind(QObject* editor, const QString& mobjPath)
{
    if (!mobj()->isEmptyMobj()) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("already bound a mobj"));
        return;
    }
    if (velk::m(mobjPath)->isEmptyMobj()) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("try to bind non-existed mobj"));
        return;
    }
    velk::ModuleObject* bound = bindMobj(mobjPath);
    // An editor that is gone must not turn into "any change without a sender".
    const QPointer<QObject> guardedEditor(editor);
    const bool nullEditor = !editor;
    connect(bound, &velk::ModuleObject::changed, this,
            [this, guardedEditor, nullEditor](const QVariant&, const QVariant&, QObject* source) {
                onMobjChanged(nullEditor ? !source
                                         : (guardedEditor && source == guardedEditor.data()));
            });
    connect(bound, &velk::ModuleObject::activated, this, &BaseSettingPage::onMobjActivated);
    if (!bound->hasCmobj(kTimestamp)) {
        updateDateTime(QCoreApplication::translate("zarvo::BaseSettingPage", "No record"));
    }
}

void BaseSettingPage::onMobjChanged(bool fromEditor)
{
    if (d->inChange) {
        // A load or save that changes the bound object itself: the outer
        // handler already covers the whole object.
        return;
    }
    FlagScope change(d->inChange);
    FlagScope busy(d->busy);
    if (fromEditor) {
        callSaveToMobj();
    } else if (callLoadFromMobj()) {
        updateDateTime(QString());
    }
}

void BaseSettingPage::onMobjActivated(velk::ModuleObject* target, int type, QObject* source)
{
    ControllerManager* link = rc();
    if (!source || source != static_cast<QObject*>(link) || type != velk::ActivateData || !target) {
        return;
    }
    if (target->get().toBool()) {
        updateDateTime(QString());
        return;
    }
    // Refused: the edits are void, show what the controller really holds.
    stopAutoSave();
    callLoadFromRC();
}

void BaseSettingPage::enableAutoSave(bool on, QWidget* container)
{
    if (!d->hasUi()) {
        return;
    }
    QWidget* target = container ? container : d->ui->wgtContent;
    d->autoSaveWidgets.removeAll(QPointer<QWidget>());
    const bool present = d->autoSaveWidgets.contains(target);
    if (present == on) {
        return;
    }
    if (on) {
        d->autoSaveWidgets.append(target);
    } else {
        d->autoSaveWidgets.removeAll(target);
    }
    watchInputs(target, on);
    // The buttons stay while any container is still watched.
    const bool anyOn = !d->autoSaveWidgets.isEmpty();
    d->ui->tbtnSave->hide();
    d->ui->tbtnLoad->setVisible(anyOn);
    d->ui->lblDateTime->setVisible(anyOn);
}

bool BaseSettingPage::isAutoSaveEnabled(QWidget* container) const
{
    d->autoSaveWidgets.removeAll(QPointer<QWidget>());
    if (!container) {
        return !d->autoSaveWidgets.isEmpty();
    }
    return d->autoSaveWidgets.contains(container);
}

void BaseSettingPage::stopAutoSave()
{
    if (!isAutoSaveEnabled()) {
        return;
    }
    d->saveTimer->stop();
    if (d->hasUi()) {
        d->ui->tbtnSave->hide();
    }
}

void BaseSettingPage::updateDateTime(const QString& text)
{
    stopAutoSave();
    const QString stamp = text.isEmpty()
                              ? QDateTime::currentDateTime().toString(QCoreApplication::translate(
                                    "zarvo::BaseSettingPage", "yyyy/MM/dd hh:mm:ss"))
                              : text;
    if (d->hasUi()) {
        d->ui->lblDateTime->setText(
            QCoreApplication::translate("zarvo::BaseSettingPage", "Last updated: %1").arg(stamp));
    }
    velk::ModuleObject* bound = mobj();
    if (bound->isEmptyMobj()) {
        return;
    }
    // The stamp is bookkeeping, not a settings change: nobody hears it. A node
    // left quiet by a failed save stays quiet.
    const bool wasQuiet = bound->isQuiet();
    bound->quiet(true, false);
    bound->set(this, kTimestamp, stamp, true);
    bound->quiet(wasQuiet, false);
}

void BaseSettingPage::addRenderExceptionWgt(QWidget* widget)
{
    if (widget && !d->renderExceptions.contains(widget)) {
        d->renderExceptions.append(widget);
    }
}

QWidget* BaseSettingPage::titleWgt() const
{
    return d->hasUi() ? d->ui->wgtTitle : nullptr;
}
QLabel* BaseSettingPage::titleLbl() const
{
    return d->hasUi() ? d->ui->lblTitle : nullptr;
}
QScrollArea* BaseSettingPage::contentSca() const
{
    return d->hasUi() ? d->ui->scaContent : nullptr;
}
QWidget* BaseSettingPage::contentWgt() const
{
    return d->hasUi() ? d->ui->wgtContent : nullptr;
}
QWidget* BaseSettingPage::bottomWgt() const
{
    return d->hasUi() ? d->ui->wgtBottom : nullptr;
}

int BaseSettingPage::autoSaveInterval() const
{
    return 10000;
}

bool BaseSettingPage::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == d->page.data()) {
        if (event->type() == QEvent::Show) {
            emit shown();
        } else if (event->type() == QEvent::Hide) {
            emit hidden();
        }
    }
    return BasePage::eventFilter(watched, event);
}

void BaseSettingPage::updateAvailability()
{
    if (!d->hasUi()) {
        return;
    }
    const bool available = isAvailable();
    d->ui->wgtTitle->setEnabled(available);
    d->ui->wgtContent->setEnabled(available);
    d->ui->wgtBottom->setEnabled(available);
}

void BaseSettingPage::loadFromRC() {}
void BaseSettingPage::saveToRC() {}
bool BaseSettingPage::loadFromMobj()
{
    return true;
}
bool BaseSettingPage::saveToMobj()
{
    return true;
}

} // namespace zarvo
