// The saving side of the setting page: which inputs are watched, how an edit
// arms the delayed save, and the save and load sequences around the derived
// page's own operations.

#include "widgets/basesettingpage.h"

#include "module/managerhelper.h"
#include "widgets/basesettingpage_p.h"
#include "widgets/touchableslider.h"

#include <pomr/enablebutton.h>
#include <velk/moduleobject.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QTableWidget>

namespace zarvo {

namespace {

const char* const kPrepareToSave = "1prepareToSave()";
const char* const kSaveNow = "1saveNow()";

void link(const QObject* sender, const char* signal, const QObject* receiver, const char* slot,
          bool on)
{
    if (!sender || !signal) {
        return;
    }
    if (on) {
        // Unique: a widget inside two watched containers must not save twice.
        QObject::connect(sender, signal, receiver, slot, Qt::UniqueConnection);
    } else {
        QObject::disconnect(sender, signal, receiver, slot);
    }
}

// The first matching class decides; a matched input is not searched further.
struct InputSignal
{
    const char* signal;
    const char* slot;
};

InputSignal inputSignal(QWidget* widget)
{
    if (qobject_cast<QTableWidget*>(widget)) {
        return {"2cellChanged(int,int)", kPrepareToSave};
    }
    if (qobject_cast<QListWidget*>(widget)) {
        return {"2itemChanged(QListWidgetItem*)", kPrepareToSave};
    }
    if (qobject_cast<QComboBox*>(widget)) {
        return {"2currentIndexChanged(int)", kPrepareToSave};
    }
    if (qobject_cast<QLineEdit*>(widget)) {
        return {"2textChanged(QString)", kPrepareToSave};
    }
    if (qobject_cast<QSpinBox*>(widget)) {
        return {"2valueChanged(int)", kPrepareToSave};
    }
    if (qobject_cast<QDoubleSpinBox*>(widget)) {
        return {"2valueChanged(double)", kPrepareToSave};
    }
    if (qobject_cast<QSlider*>(widget)) {
        // Only the end of a drag is an edit; every step of it is not.
        return {"2sliderReleased()", kPrepareToSave};
    }
    if (qobject_cast<pomr::EnableButton*>(widget)) {
        // An on/off switch is a decision, not typing: it saves at once.
        return {"2enabled(bool)", kSaveNow};
    }
    if (qobject_cast<TouchableSlider*>(widget)) {
        return {"2valueChanged(int)", kPrepareToSave};
    }
    if (qobject_cast<QRadioButton*>(widget) || qobject_cast<QCheckBox*>(widget)) {
        return {"2toggled(bool)", kPrepareToSave};
    }
    return {nullptr, nullptr};
}

} // namespace

void BaseSettingPage::watchInputs(QWidget* widget, bool on)
{
    if (!widget) {
        return;
    }
    const InputSignal input = inputSignal(widget);
    if (input.signal) {
        auto* list = qobject_cast<QListWidget*>(widget);
        if (on && list && list->editTriggers() == QAbstractItemView::NoEditTriggers) {
            return; // a read-only list never edits
        }
        link(widget, input.signal, this, input.slot, on);
        return;
    }
    if (auto* area = qobject_cast<QScrollArea*>(widget)) {
        watchInputs(area->widget(), on);
        return;
    }
    watchInputLayouts(widget->layout(), on);
}

void BaseSettingPage::watchInputLayouts(QLayout* layout, bool on)
{
    if (!layout) {
        return;
    }
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem* item = layout->itemAt(i);
        if (!item) {
            continue;
        }
        if (item->layout()) {
            watchInputLayouts(item->layout(), on);
        } else if (item->widget()) {
            watchInputs(item->widget(), on);
        }
    }
}

void BaseSettingPage::smartConnectPrepareToSave(const QObject* sender, const char* signal, bool on)
{
    link(sender, signal, this, kPrepareToSave, on);
}

void BaseSettingPage::smartConnectSave(const QObject* sender, const char* signal, bool on)
{
    link(sender, signal, this, kSaveNow, on);
}

void BaseSettingPage::prepareToSave()
{
    if (d->busy || !d->hasUi()) {
        return;
    }
    if (d->ui->tbtnSave->isHidden()) {
        d->ui->tbtnSave->show();
    }
    // Each edit restarts the whole interval: one save after the last edit.
    d->saveTimer->start(qMax(0, autoSaveInterval()));
}

void BaseSettingPage::saveNow()
{
    d->saveTimer->stop();
    if (d->inSave) {
        // From inside the save (a nested event loop of a synchronous request,
        // or the derived page itself): running it now would interleave two
        // saves, dropping it would lose an edit. It runs after this one.
        d->saveAgain = true;
        return;
    }
    FlagScope saving(d->inSave);
    d->saveAgain = false;

    velk::ModuleObject* bound = mobj();
    const bool isBound = !bound->isEmptyMobj();
    if (isBound) {
        bound->quiet(true, true);
    }
    if (!callSaveToMobj()) {
        // Deliberately left quiet until a save succeeds: half-written settings
        // must not reach the object's listeners.
        return;
    }
    if (isBound) {
        bound->quiet(false, true);
        bound->activate(this, bound, velk::ActivateData);
    }
    callSaveToRC();
    if (d->saveAgain) {
        d->saveAgain = false;
        d->saveTimer->start(qMax(0, autoSaveInterval()));
    }
}

void BaseSettingPage::loadNow()
{
    if (d->inLoad) {
        return; // a load asked for by the load itself
    }
    FlagScope loading(d->inLoad);
    if (isAutoSaveEnabled()) {
        d->saveTimer->stop();
        if (d->hasUi()) {
            d->ui->tbtnSave->hide();
        }
    }
    callLoadFromRC();
}

// A derived page comes from another module. Whatever it does wrong, the HMI
// stays up and the page stays usable: the failure is logged and counts as
// "not done".

bool BaseSettingPage::callLoadFromMobj()
{
    FlagScope busy(d->busy);
    try {
        return loadFromMobj();
    } catch (...) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("loading the page failed"));
    }
    return false;
}

bool BaseSettingPage::callSaveToMobj()
{
    FlagScope busy(d->busy);
    try {
        return saveToMobj();
    } catch (...) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("saving the page failed"));
    }
    return false;
}

void BaseSettingPage::callLoadFromRC()
{
    FlagScope busy(d->busy);
    try {
        loadFromRC();
    } catch (...) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("loading the page from the controller failed"));
    }
}

void BaseSettingPage::callSaveToRC()
{
    try {
        saveToRC();
    } catch (...) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("sending the page to the controller failed"));
    }
}

} // namespace zarvo
