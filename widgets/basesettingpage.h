#pragma once

#include <zarvo/basepage.h>

class QLabel;
class QLayout;
class QScrollArea;
class QWidget;

namespace velk {
class ModuleObject;
}

namespace zarvo {

class BaseSettingPagePrivate;

// The base of every settings page: a title row (save, load, last-updated
// stamp), a scrolling content area and a bottom strip; one bound module object
// holding the page's settings; edits of the inputs in the content save the
// page by themselves a fixed time after the last one. Derived pages supply
// only how to load and save (loadFromMobj, saveToMobj, loadFromRC, saveToRC).
class ZARVO_EXPORT BaseSettingPage : public BasePage
{
    Q_OBJECT

public:
    BaseSettingPage(const QString& name, const QString& label, QWidget* parentWidget = nullptr,
                    QObject* parent = nullptr);
    ~BaseSettingPage() override;

    QWidget* wgt() override;
    void render() override;

    void setTitle(const QString& title);
    QString title() const;

public Q_SLOTS:
    // Drops pending edits, then asks the controller for the page's values.
    void loadNow();
    // Writes the widgets into the bound object, announces it, then sends it.
    void saveNow();

Q_SIGNALS:
    void shown();
    void hidden();

protected:
    // Binds the page to the object at `mobjPath` (once). Changes made by
    // `editor` are saved from the widgets, any other change reloads them.
    void autoBind(QObject* editor, const QString& mobjPath);

    // Watches the inputs of `container` (wgtContent when null).
    void enableAutoSave(bool on, QWidget* container = nullptr);
    // Disarms a pending save and hides the save button; inputs stay watched.
    void stopAutoSave();
    bool isAutoSaveEnabled(QWidget* container = nullptr) const;

    // Shows "Last updated: <text>" (now when empty) and stores the stamp in
    // the bound object's "[timestamp]".
    void updateDateTime(const QString& text);

    // Widgets that keep their own style sheet when the page is rendered.
    void addRenderExceptionWgt(QWidget* widget);

    // For inputs the automatic watch does not know: connect (on) or
    // disconnect a string-based signal to a delayed save or to an immediate one.
    void smartConnectPrepareToSave(const QObject* sender, const char* signal, bool on);
    void smartConnectSave(const QObject* sender, const char* signal, bool on);

    QWidget* titleWgt() const;
    QLabel* titleLbl() const;
    QScrollArea* contentSca() const;
    QWidget* contentWgt() const;
    QWidget* bottomWgt() const;

    virtual int autoSaveInterval() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

protected Q_SLOTS:
    // The base page's rule, applied to the title, content and bottom widgets
    // so that the scroll area stays usable on a locked page.
    void updateAvailability() override;

private Q_SLOTS:
    void prepareToSave();

private:
    virtual void loadFromRC();
    virtual void saveToRC();
    // False when the bound object could not be filled (or written).
    virtual bool loadFromMobj();
    virtual bool saveToMobj();

    void watchInputs(QWidget* widget, bool on);
    void watchInputLayouts(QLayout* layout, bool on);

    void onMobjChanged(bool fromEditor);
    void onMobjActivated(velk::ModuleObject* target, int type, QObject* source);

    bool callLoadFromMobj();
    bool callSaveToMobj();
    void callLoadFromRC();
    void callSaveToRC();

    friend class BaseSettingPagePrivate;
    BaseSettingPagePrivate* d;
};

} // namespace zarvo
