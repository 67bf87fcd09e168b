#pragma once

#include <zarvo/zarvo_global.h>

#include <QMessageBox>
#include <QObject>
#include <QStringList>

class QProcess;
namespace pomr {
class BModule;
}
class ControllerManager;
class SettingManager;
class ThemeManager;
class RsyncRunner;

// The process-wide owner of the long-lived managers (settings, theme,
// controller link), the resource aliases and the rsync process. Every part of
// the HMI reaches the managers through it and never deletes them.
class ZARVO_EXPORT ManagerHelper : public QObject
{
    Q_OBJECT

public:
    // The one helper, created on first use with its three managers.
    static ManagerHelper& instance();
    ~ManagerHelper() override;

    SettingManager* getSettingManager() const;
    ThemeManager* getThemeManager() const;
    ControllerManager* getControllerManager() const;

    // Resource aliases: the first path component under which a module's files
    // live ("zarvo"). The alias registered last wins a lookup; a file on disk
    // wins over the compiled-in one of the same alias. Registering tells the
    // managers (settings create folders and install the translation).
    bool registQrcAlias(const QString& alias);
    void registRootQrcAlias(const QString& alias);
    bool cancelQrcAlias(const QString& alias);
    QStringList aliases() const;

    // <alias>/<dir>/<name>[/<sub>]<suffix>: with an explicit alias the
    // compiled-in path, unchecked; otherwise the newest alias whose file
    // exists on disk or in the resources. When nothing exists a warning is
    // logged and the compiled-in path of the first alias returned ("" with
    // no alias at all), so callers must check the result.
    QString getQrcPath(const QString& dir, const QString& suffix, const QString& name,
                       const QString& sub, const QString& alias) const;

    // The one logging entry point: level by first letter ("i", "w", "e",
    // anything else debug), a coloured time-stamped line on the console and,
    // except for debug, in ./log/zarvo.log; the event is also published as the
    // resource record "cur_hmi_log" of `sender`.
    static void throwLog(QObject* sender, const QString& level, const QString& text);

    // A modal message box of the level "i", "w", "e" or "q" (first letter),
    // parented to the host's main module; other levels show nothing and
    // return NoButton.
    static QMessageBox::StandardButton
    showMsg(const QString& level, const QString& text,
            QMessageBox::StandardButtons buttons = QMessageBox::Ok,
            QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

    // Workspace synchronisation with the controller's rsync daemon; one
    // transfer at a time. True when started, false while another runs.
    bool rsyncPush(QObject* requester, const QString& localPath, const QString& remotePath,
                   bool deleteExtraneous, QStringList extraArgs = QStringList());
    bool rsyncPull(QObject* requester, const QString& localPath, const QString& remotePath,
                   bool deleteExtraneous, QStringList extraArgs = QStringList());
    QProcess* rsyncProcess() const;

    // Put every page of a setting category (a module whose submodules are
    // BaseSettingPages) into the centre widget under "<category>.<page>" and
    // publish the list of pages as the category's resource "navtree".
    static void installBaseSettingCategoryModule(pomr::BModule* category);
    // Register a page and, recursively, its submodules in the centre widget
    // and under "zarvo.sidetree.root" (joined with `prefix`), where the side
    // tree builds its buttons from them. Nothing for a missing prefix object
    // or a module that is not a page.
    static void installSideTree(pomr::BModule* module, const QString& prefix = QString());

Q_SIGNALS:
    void rsyncFinished(QObject* requester, const QString& output);

private:
    ManagerHelper();
    Q_DISABLE_COPY(ManagerHelper)

    SettingManager* m_setting = nullptr;
    ThemeManager* m_theme = nullptr;
    ControllerManager* m_controller = nullptr;
    QStringList m_aliases;
    RsyncRunner* m_rsync = nullptr;
};

ZARVO_EXPORT ManagerHelper& helper();
ZARVO_EXPORT ControllerManager* rc();
ZARVO_EXPORT SettingManager* setting();
ZARVO_EXPORT ThemeManager* theme();
