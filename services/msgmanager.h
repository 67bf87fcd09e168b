#pragma once

#include <zarvo/zarvo_global.h>

#include <pomr/bmodule.h>

#include <QMessageBox>

// The value picks a box's title and icon; anything outside 1..6 is MSG_DEFAULT.
enum MSG_TYPE : int {
    MSG_DEFAULT = 0,
    MSG_WARNING = 1,
    MSG_INFORMATION = 2,
    MSG_QUESTION = 3,
    MSG_WARNING_ALERT = 4,
    MSG_ERROR = 5,
    MSG_FATAL = 6,
};

// Modal message boxes with the HMI's one look (frameless, on top, dark
// buttons) and its own button labels. Every call shows a new box: the
// uniqueness interface (keys, codes) is accepted and deliberately inert.
class ZARVO_EXPORT MsgManager : public pomr::BModule
{
    Q_OBJECT

public:
    explicit MsgManager(QObject* parent = nullptr);
    ~MsgManager() override;

    QString name() const override;

    // The exact style sheet of every box.
    static QString styleSheet();
    static QString title(MSG_TYPE type);
    static QMessageBox::Icon icon(MSG_TYPE type);

    // A box with the look, title, icon and text, no buttons; not shown. The
    // caller owns it. `parent` is ignored: boxes are top-level windows.
    static QMessageBox* buildMsgBox(QWidget* parent, MSG_TYPE type, const QString& text);
    // Show modally; returns the button pressed.
    static QMessageBox::StandardButton showMsg(QWidget* parent, MSG_TYPE type, const QString& text,
                                               QMessageBox::StandardButtons buttons,
                                               QMessageBox::StandardButton defaultButton);
    static QMessageBox::StandardButton showUniqueMsg(QWidget* parent, MSG_TYPE type,
                                                     const QString& key, bool flag,
                                                     const QString& text,
                                                     QMessageBox::StandardButtons buttons,
                                                     QMessageBox::StandardButton defaultButton);
    // exec() the box: NoRole when it was closed without a button, else the
    // clicked button's role. The box is not deleted.
    static QMessageBox::ButtonRole showMsgBox(QMessageBox* box);
    static bool hasMsgBox(const QString& key);
    static void clearErrorMsg();
    static void clearUniqueErrorMsg(int code);

    // Relabel the standard buttons with the HMI's vocabulary.
    static void applyButtonLabels(QMessageBox* box);

private:
    static QMessageBox::StandardButton showBox(MSG_TYPE type, const QString& text,
                                               QMessageBox::StandardButtons buttons,
                                               QMessageBox::StandardButton defaultButton);
};
